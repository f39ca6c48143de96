// With a real notification server, in the private desktop.
#include "notifier/Notifier.h"
#include "platform/Diagnosis.h"
#include "tests/support/Wait.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <cstdio>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

QByteArray outputOf(const char *command) {
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command, "r"), pclose);
    QByteArray output;
    char piece[4096];
    while (const std::size_t size = std::fread(piece, 1, sizeof piece, pipe.get()))
        output.append(piece, static_cast<qsizetype>(size));
    return output.trimmed();
}

int displayed() {
    return outputOf("dunstctl count displayed").toInt();
}

// Titles and bodies of what has been taken away, the last first.
QList<std::pair<QString, QString>> history() {
    const auto entries = QJsonDocument::fromJson(outputOf("dunstctl history"))[u"data"_s][0].toArray();
    QList<std::pair<QString, QString>> result;
    for (const QJsonValue &entry : entries)
        result.emplaceBack(entry[u"summary"_s][u"data"_s].toString(), entry[u"body"_s][u"data"_s].toString());
    return result;
}

pid_t server() {
    return outputOf("gdbus call --session -d org.freedesktop.DBus -o / -m "
                    "org.freedesktop.DBus.GetConnectionUnixProcessID org.freedesktop.Notifications 2>/dev/null"
                    " | tr -dc '0-9 ' | cut -d' ' -f2")
        .toInt();
}

void update(const QString &title, const QString &body, bool prominent) {
    Notifier::update(title, body, prominent);
    await(Notifier::delivered());
}

class NotificationsDesktop : public testing::Test {
protected:
    void SetUp() override {
        outputOf("dunstctl close-all");
        m_before = history().size();
    }
    void TearDown() override {
        Notifier::clear();
        await(Notifier::delivered());
    }

    qsizetype m_before = 0;
};

} // namespace

TEST_F(NotificationsDesktop, TwoUpdatesLeaveOneWithTheSecondsText) {
    update(u"Step 1"_s, u"Opening the editor"_s, true);
    update(u"Step 2"_s, u"Typing <b>now</b> & then"_s, true);
    EXPECT_EQ(displayed(), 1);
    Notifier::clear();
    await(Notifier::delivered());
    EXPECT_TRUE(waitUntil([] { return displayed() == 0; }));
    const auto gone = history();
    ASSERT_EQ(gone.size(), m_before + 1);
    EXPECT_EQ(gone[0].first, u"Step 2"_s);
    EXPECT_EQ(gone[0].second, u"Typing <b>now</b> & then"_s.toHtmlEscaped())
        << "as it was told to a server that reads markup";
}

TEST_F(NotificationsDesktop, ManyUpdatesInARowLeaveOne) {
    for (int i = 1; i <= 50; ++i)
        Notifier::update(u"Step %1"_s.arg(i), u"working"_s, i % 2);
    await(Notifier::delivered());
    EXPECT_EQ(displayed(), 1);
    EXPECT_EQ(history().size(), m_before);
}

TEST_F(NotificationsDesktop, AfterTheOwnerClosedItTheNextUpdateShowsAgain) {
    update(u"first"_s, {}, true);
    outputOf("dunstctl close");
    ASSERT_TRUE(waitUntil([] { return displayed() == 0; }));
    update(u"second"_s, {}, true);
    EXPECT_EQ(displayed(), 1);
}

TEST_F(NotificationsDesktop, AServerThatWasKilledIsStartedAgainAndTold) {
    update(u"before"_s, {}, true);
    const pid_t first = server();
    ASSERT_GT(first, 0);
    ASSERT_EQ(kill(first, SIGKILL), 0);
    ASSERT_TRUE(waitUntil([] { return server() == 0; }));
    update(u"after"_s, {}, true);
    ASSERT_TRUE(waitUntil([] { return displayed() == 1; }));
    EXPECT_NE(server(), first);
}

TEST_F(NotificationsDesktop, ItIsAllowedAndTheServerIsNamed) {
    std::optional<bool> allowed;
    Notifier::allowed([&](bool answer) { allowed = answer; });
    ASSERT_TRUE(waitUntil([&] { return allowed.has_value(); }));
    EXPECT_TRUE(*allowed);
    EXPECT_TRUE(await(notificationCheck()).what.startsWith(u"dunst 1."_s));
}
