// The call server with the WebSocket of a browser.

#include "tests/support/Companion.h"
#include "tests/voice/CallServer.h"

#include <QStandardPaths>
#include <QTemporaryDir>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class BrowserTest : public test::CallServer {
protected:
    QByteArray report() const {
        const auto lines = log();
        const auto found = std::ranges::find_if(lines, [](const auto &line) { return line.startsWith("text page: "); });
        return found == lines.end() ? QByteArray() : found->sliced(11);
    }
};

} // namespace

TEST_F(BrowserTest, FindsAllAsItShouldBe) {
    ASSERT_FALSE(QStandardPaths::findExecutable(u"chromium"_s).isEmpty()) << "Debian package: chromium";
    onConnection = [this](const Connection &connection) {
        connection->onText = [this, weak = std::weak_ptr(connection)](const QString &text) {
            const auto self = weak.lock();
            if (text.startsWith(u"page: "_s))
                note("text " + text.toUtf8());
            text == u"close"_s ? self->close() : self->send(text);
        };
    };
    const QTemporaryDir home;
    const auto page =
        "file://" + qgetenv("OMBRU_SOURCE") + "/tests/support/ws-page.html#" + QByteArray::number(server->port());
    // No sandbox: root has none.
    const test::Companion browser({"bash", "-c",
                                   R"(echo started >&%fd; exec env HOME="$0" chromium --headless --no-sandbox \
                                   --disable-gpu --no-first-run --user-data-dir="$0" "$1")",
                                   home.path().toUtf8(), page},
                                  "chromium");
    EXPECT_TRUE(test::waitUntil([this] { return !report().isEmpty(); }));
    EXPECT_EQ(report(), "ok");
}
