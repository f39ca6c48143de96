#include "platform/Notifications.h"

#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"

#include <csignal>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString ID = u"ombru.activity"_s;
using Manner = NotificationServerStandIn::Manner;

void show(const QString &title, bool prominent = true, const QString &body = u"body"_s) {
    showNotification(ID, {title, body, u"ombru"_s, prominent});
}

void delivered() {
    await(notificationsDelivered());
}

bool allowed() {
    std::optional<bool> answer;
    askNotificationsAllowed([&](bool value) { answer = value; });
    EXPECT_FALSE(answer);
    EXPECT_TRUE(waitUntil([&] { return answer.has_value(); }));
    return answer.value_or(false);
}

class Notifications : public testing::Test {
protected:
    void TearDown() override {
        clearNotification(ID);
        delivered();
        // The next test's bus has another address.
        QDBusConnection::disconnectFromBus(u"ombru.notifications"_s);
    }

    SessionBus m_bus;
};

} // namespace

TEST_F(Notifications, TwoUpdatesLeaveOneWithTheSecondsText) {
    NotificationServerStandIn server(m_bus.address());
    show(u"first"_s);
    delivered();
    show(u"second"_s, true, u"new body"_s);
    delivered();
    ASSERT_EQ(server.shown.size(), 1U);
    EXPECT_EQ(server.shown[0].title, u"second"_s);
    EXPECT_EQ(server.shown[0].body, u"new body"_s);
    EXPECT_EQ(server.shown[0].application, u"ombru"_s);
    EXPECT_EQ(server.shown[0].times, 2);
}

TEST_F(Notifications, TwoUpdatesInARowLeaveOneToo) {
    NotificationServerStandIn server(m_bus.address());
    show(u"first"_s);
    show(u"second"_s);
    delivered();
    ASSERT_EQ(server.shown.size(), 1U);
    EXPECT_EQ(server.shown[0].title, u"second"_s);
}

TEST_F(Notifications, AnUpdateWaitsForTheNumberOfTheOneBeforeAndOnlyTheLatestWaits) {
    NotificationServerStandIn server(m_bus.address());
    show(u"known"_s);
    delivered();
    server.manner = Manner::waits;
    show(u"slow"_s);
    ASSERT_TRUE(waitUntil([&] { return server.waiting() == 1; }));
    for (int i = 0; i < 100; ++i)
        show(u"update %1"_s.arg(i));
    settle();
    EXPECT_EQ(server.waiting(), 1);
    server.answerWaiting();
    delivered();
    EXPECT_EQ(server.titles, (QStringList{u"known"_s, u"slow"_s, u"update 99"_s}));
    EXPECT_EQ(server.shown.size(), 1U);
}

TEST_F(Notifications, AProminentOneIsUrgentEnoughForABanner) {
    NotificationServerStandIn server(m_bus.address());
    show(u"loud"_s, true);
    delivered();
    EXPECT_EQ(server.shown.at(0).urgency, 1);
    show(u"quiet"_s, false);
    delivered();
    EXPECT_EQ(server.shown.at(0).urgency, 0);
}

TEST_F(Notifications, ClearTakesItAway) {
    NotificationServerStandIn server(m_bus.address());
    show(u"first"_s);
    delivered();
    clearNotification(ID);
    delivered();
    EXPECT_TRUE(server.shown.empty());
    show(u"again"_s);
    delivered();
    EXPECT_EQ(server.shown.size(), 1U);
}

TEST_F(Notifications, ClearRightAfterAnUpdateTakesItAwayToo) {
    NotificationServerStandIn server(m_bus.address());
    show(u"known"_s);
    delivered();
    server.manner = Manner::waits;
    show(u"slow"_s);
    ASSERT_TRUE(waitUntil([&] { return server.waiting() == 1; }));
    clearNotification(ID);
    server.answerWaiting();
    delivered();
    EXPECT_TRUE(server.shown.empty());
}

TEST_F(Notifications, ClearOfNothingAsksNobody) {
    NotificationServerStandIn server(m_bus.address());
    clearNotification(ID);
    delivered();
    EXPECT_EQ(server.calls, 0);
}

TEST_F(Notifications, TheTextIsShownAsItIsByAServerThatKnowsMarkup) {
    NotificationServerStandIn server(m_bus.address());
    server.capabilities = {u"body"_s, u"body-markup"_s};
    show(u"a < b"_s, true, u"<b>1 & 2</b>"_s);
    delivered();
    EXPECT_EQ(server.shown.at(0).title, u"a < b"_s);
    EXPECT_EQ(server.shown.at(0).body, u"&lt;b&gt;1 &amp; 2&lt;/b&gt;"_s);
}

TEST_F(Notifications, TheTextIsShownAsItIsByAServerThatKnowsLinksAlone) {
    NotificationServerStandIn server(m_bus.address());
    server.capabilities = {u"body"_s, u"body-hyperlinks"_s};
    show(u"title"_s, true, u"<a href=\"file:///x\">1</a>"_s);
    delivered();
    EXPECT_EQ(server.shown.at(0).body, u"&lt;a href=&quot;file:///x&quot;&gt;1&lt;/a&gt;"_s);
}

TEST_F(Notifications, TheTextIsShownAsItIsByAServerThatDoesNot) {
    NotificationServerStandIn server(m_bus.address());
    show(u"title"_s, true, u"<b>1 & 2</b>"_s);
    delivered();
    EXPECT_EQ(server.shown.at(0).body, u"<b>1 & 2</b>"_s);
}

TEST_F(Notifications, DifferentIdsAreDifferentNotifications) {
    NotificationServerStandIn server(m_bus.address());
    show(u"first"_s);
    showNotification(u"other"_s, {u"second"_s, {}, u"ombru"_s, false});
    delivered();
    EXPECT_EQ(server.shown.size(), 2U);
    clearNotification(u"other"_s);
    delivered();
    EXPECT_EQ(server.shown.size(), 1U);
}

TEST_F(Notifications, WithoutAServerNothingBreaks) {
    EXPECT_FALSE(allowed());
    show(u"nobody sees this"_s);
    delivered();
    clearNotification(ID);
    delivered();
}

TEST_F(Notifications, WithoutABusNothingBreaks) {
    const Variable none("DBUS_SESSION_BUS_ADDRESS");
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    EXPECT_FALSE(allowed());
    show(u"nobody sees this"_s);
    delivered();
    const Variable wrong("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    EXPECT_FALSE(allowed());
    show(u"nobody sees this"_s);
    delivered();
}

TEST_F(Notifications, AllowedIsWhetherAServerAnswers) {
    NotificationServerStandIn server(m_bus.address());
    EXPECT_TRUE(allowed());
    server.manner = Manner::refuses;
    EXPECT_FALSE(allowed());
}

TEST_F(Notifications, AServerThatComesLaterIsTold) {
    show(u"lost"_s);
    delivered();
    NotificationServerStandIn server(m_bus.address());
    show(u"found"_s);
    delivered();
    EXPECT_EQ(server.shown.at(0).title, u"found"_s);
}

TEST_F(Notifications, AServerThatDiesAndReturnsIsTold) {
    auto server = std::make_unique<NotificationServerStandIn>(m_bus.address());
    show(u"before"_s);
    delivered();
    server = nullptr;
    show(u"meanwhile"_s);
    delivered();
    server = std::make_unique<NotificationServerStandIn>(m_bus.address());
    show(u"after"_s);
    delivered();
    EXPECT_EQ(server->shown.at(0).title, u"after"_s);
}

TEST_F(Notifications, ANewServersNotificationOfAnotherProgramIsNotReplaced) {
    auto server = std::make_unique<NotificationServerStandIn>(m_bus.address());
    show(u"ours"_s);
    delivered();
    ASSERT_EQ(server->shown.at(0).number, 1U);
    server = nullptr;
    server = std::make_unique<NotificationServerStandIn>(m_bus.address(), 2);
    server->shown.push_back({1, u"mail"_s, u"You have mail"_s, {}, 1});
    show(u"ours again"_s);
    delivered();
    ASSERT_EQ(server->shown.size(), 2U);
    EXPECT_EQ(server->shown[0].title, u"You have mail"_s);
    EXPECT_EQ(server->shown[1].title, u"ours again"_s);
}

TEST_F(Notifications, AServerThatDiesBeforeItAnswersDoesNotKeepTheUpdate) {
    auto server = std::make_unique<NotificationServerStandIn>(m_bus.address());
    show(u"known"_s);
    delivered();
    server->manner = Manner::waits;
    show(u"unanswered"_s);
    ASSERT_TRUE(waitUntil([&] { return server->waiting() == 1; }));
    server = nullptr;
    server = std::make_unique<NotificationServerStandIn>(m_bus.address());
    show(u"after"_s);
    delivered();
    EXPECT_EQ(server->shown.at(0).title, u"after"_s);
}

TEST_F(Notifications, ARefusalIsSurvived) {
    NotificationServerStandIn server(m_bus.address());
    show(u"known"_s);
    delivered();
    server.manner = Manner::refuses;
    show(u"refused"_s);
    delivered();
    server.manner = Manner::answers;
    show(u"shown"_s);
    delivered();
    ASSERT_EQ(server.shown.size(), 1U);
    EXPECT_EQ(server.shown[0].title, u"shown"_s);
}

TEST_F(Notifications, AServerThatNeverAnswersHoldsUpNothingAndIsGivenUp) {
    NotificationServerStandIn server(m_bus.address());
    server.manner = Manner::waits;
    show(u"first"_s);
    show(u"second"_s);
    ASSERT_TRUE(waitUntil([&] { return server.waiting() == 1; }));
    bool ran = false;
    Loop::main().post([&] { ran = true; });
    settle();
    EXPECT_TRUE(ran);
    delivered();
    server.manner = Manner::answers;
    show(u"third"_s);
    delivered();
    EXPECT_EQ(server.shown.at(0).title, u"third"_s);
}

TEST_F(Notifications, ABusThatDiesAndReturnsIsUsedAgain) {
    NotificationServerStandIn server(m_bus.address());
    show(u"before"_s);
    delivered();
    m_bus.signal(SIGKILL);
    ASSERT_TRUE(waitUntil([] { return !QDBusConnection(u"ombru.notifications"_s).isConnected(); }));
    show(u"meanwhile"_s);
    delivered();
    const SessionBus again(m_bus.directory());
    NotificationServerStandIn returned(again.address());
    show(u"after"_s);
    delivered();
    EXPECT_EQ(returned.shown.at(0).title, u"after"_s);
}
