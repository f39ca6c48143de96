// The call server with a client that nobody here wrote. Skipped, with a line that says so, only where the npm registry
// cannot be reached.

#include "tests/support/Companion.h"
#include "tests/voice/CallServer.h"

#include <QFile>

#include <thread>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class RealClientTest : public test::CallServer {};

} // namespace

TEST_F(RealClientTest, FindsAllAsItShouldBe) {
    if (!QFile::exists(QStringLiteral(OMBRU_WS) + u"/package.json"_s))
        GTEST_SKIP() << "The package ws could not be had: the npm registry was not reached.";
    onConnection = [](const Connection &connection) {
        connection->onText = [weak = std::weak_ptr(connection)](const QString &text) {
            const auto self = weak.lock();
            text == u"close"_s ? self->close() : self->send(text);
        };
    };
    const test::Companion client({"node", qgetenv("OMBRU_SOURCE") + "/tests/support/ws-client.cjs", OMBRU_WS, "%fd",
                                  QByteArray::number(server->port())},
                                 "nodejs");
    EXPECT_EQ(client.line(), "ok");
}
