// What commands ask the application for, and get.
#include "controller/TaskText.h"
#include "tests/app/DoorFixture.h"
#include "tests/support/Processes.h"

#include <QJsonArray>
#include <QTcpServer>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

class DoorTest : public test::DoorFixture {};

} // namespace

TEST_F(DoorTest, ATasksEventsArriveAsRunPrintsThem) {
    reply({u"DONE: 42"_s});
    const auto client = asks(run(u"six times seven"_s));
    EXPECT_EQ(client->end(), 0);
    EXPECT_EQ(client->all(u"kind"_s), (QStringList{u"user"_s, u"rule"_s, u"dim"_s, u"dim"_s, u"good"_s, u"dim"_s}));
    EXPECT_EQ(client->all(u"text"_s).first(), u"you ❯ six times seven"_s);
    EXPECT_GT(client->lines.value(1)[u"ts"_s].toDouble() + client->lines.value(0)[u"ts"_s].toDouble(), 1.7e9);
    EXPECT_EQ(client->report(),
              (QJsonObject{{u"outcome"_s, u"done"_s}, {u"scriptRefused"_s, false}, {u"blocked"_s, QJsonArray()}}));
    EXPECT_TRUE(client->all(u"progress"_s).contains(u"Figuring out what to do…"_s))
        << client->all(u"progress"_s).join(u'\n').toStdString();
}

TEST_F(DoorTest, EveryTaskContinuesTheConversationUntilANewOneIsAskedFor) {
    reply({u"DONE: a"_s, u"DONE: b"_s, u"DONE: c"_s});
    EXPECT_EQ(asks(run(u"one"_s))->end(), 0);
    EXPECT_EQ(asks(run(u"two"_s))->end(), 0);
    EXPECT_TRUE(claude.arguments(2).contains(u"--resume"_s));
    const auto fresh = asks(verb(u"new-session"_s));
    EXPECT_EQ(fresh->end(), 0);
    EXPECT_EQ(fresh->all(u"line"_s), QStringList{u"The next task begins a new conversation."_s});
    EXPECT_EQ(asks(run(u"three"_s))->end(), 0);
    EXPECT_FALSE(claude.arguments(3).contains(u"--resume"_s));
}

TEST_F(DoorTest, ATaskMayAskForANewConversation) {
    reply({u"DONE: a"_s, u"DONE: b"_s});
    EXPECT_EQ(asks(run(u"one"_s))->end(), 0);
    auto fresh = run(u"two"_s);
    fresh[u"conversation"_s] = u"fresh"_s;
    EXPECT_EQ(asks(fresh)->end(), 0);
    EXPECT_FALSE(claude.arguments(2).contains(u"--resume"_s));
    fresh[u"conversation"_s] = u"stale"_s;
    EXPECT_EQ(asks(fresh)->end(), 2);
}

TEST_F(DoorTest, LimitsCountForOneTask) {
    reply({block(u"return 1"_s), u"DONE: b"_s});
    auto limited = run(u"one"_s);
    limited[u"maxSteps"_s] = u"1"_s;
    limited[u"model"_s] = u"small"_s;
    const auto first = asks(limited);
    EXPECT_EQ(first->end(), 0);
    EXPECT_EQ(first->report()[u"outcome"_s], u"outOfSteps"_s);
    EXPECT_TRUE(claude.arguments(1).contains(u"small"_s));
    EXPECT_EQ(asks(run(u"two"_s))->end(), 0);
    EXPECT_FALSE(claude.arguments(2).contains(u"small"_s));
    EXPECT_EQ(state->settings.maxSteps(), 15);
}

TEST_F(DoorTest, ALimitThatCannotBeIsSaid) {
    auto limited = run(u"one"_s);
    limited[u"model"_s] = u"small"_s;
    limited[u"maxSteps"_s] = u"none"_s;
    const auto client = asks(limited);
    EXPECT_EQ(client->end(), 2);
    EXPECT_EQ(client->all(u"error"_s),
              QStringList{u"maxSteps cannot be \"none\": it takes a whole number from 1 to 1000"_s});
    EXPECT_EQ(state->settings.model(), QString()) << "nor is the other one kept";
    EXPECT_FALSE(state->busy());
}

TEST_F(DoorTest, WhoeverBeganATaskStopsIt) {
    hang();
    const auto client = asks(run(u"wait"_s));
    const auto pid = claudePid();
    client->ask(verb(u"cancel"_s));
    EXPECT_EQ(client->end(), 0);
    EXPECT_EQ(client->report()[u"outcome"_s], u"cancelled"_s);
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(DoorTest, ATaskEndsWithTheOneWhoBeganIt) {
    hang();
    auto client = asks(run(u"wait"_s));
    const auto pid = claudePid();
    client.reset();
    EXPECT_TRUE(waitUntil([this] { return !state->busy(); }));
    EXPECT_FALSE(test::isAlive(pid));
    EXPECT_EQ(events.last(), u"warn: cancelled"_s);
}

TEST_F(DoorTest, WhoOnlyWatchesEndsNothing) {
    hang();
    const auto begun = asks(run(u"wait"_s));
    claudePid();
    const auto watching = asks({{u"do"_s, u"log"_s}, {u"follow"_s, true}});
    EXPECT_TRUE(watching->hears(u"you ❯ wait"_s)) << "what was before, too";
    watching->ask(verb(u"cancel"_s));
    EXPECT_EQ(watching->end(), 130);
    EXPECT_TRUE(state->busy());
}

TEST_F(DoorTest, ADetachedTaskStaysUntilItIsStopped) {
    hang();
    auto detached = run(u"wait"_s);
    detached[u"detach"_s] = true;
    auto client = asks(detached);
    EXPECT_EQ(client->end(), 0);
    client.reset();
    claudePid();
    EXPECT_TRUE(state->busy());
    const auto stop = asks(verb(u"stop"_s));
    EXPECT_EQ(stop->end(), 0);
    EXPECT_EQ(stop->all(u"line"_s), QStringList{u"The task has been stopped."_s});
    EXPECT_FALSE(state->busy());
    EXPECT_EQ(asks(verb(u"stop"_s))->end(), 1);
    EXPECT_EQ(state->status(), u"cancelled"_s) << "asking to stop nothing changes nothing";
}

TEST_F(DoorTest, WhileATaskOfTheWebPageRunsAnotherIsRefused) {
    hang();
    state->startTask(u"from the page"_s, {}, u"web ❯ "_s);
    const auto client = asks(run(u"mine"_s));
    EXPECT_EQ(client->end(), 1);
    EXPECT_EQ(client->report()[u"outcome"_s], u"desktopInUse"_s);
    EXPECT_EQ(client->all(u"text"_s), (QStringList{u"you ❯ mine"_s, u"✗ "_s + desktopInUseText()}))
        << client->all(u"text"_s).join(u'\n').toStdString();
    EXPECT_TRUE(state->busy()) << "the page's task goes on";
    EXPECT_FALSE(events.contains(u"user: you ❯ mine"_s));
}

TEST_F(DoorTest, ATaskForAnotherDisplayIsSentBack) {
    FakePlatform::instance().desktopName = u":1"_s;
    reply({u"DONE: 42"_s});
    auto elsewhere = run(u"go"_s);
    elsewhere[u"display"_s] = u":2"_s;
    const auto client = asks(elsewhere);
    EXPECT_EQ(client->end(), 0);
    EXPECT_TRUE(client->lines.first()[u"elsewhere"_s].toBool());
    EXPECT_FALSE(state->busy());
    elsewhere[u"display"_s] = u":1"_s;
    EXPECT_EQ(asks(elsewhere)->end(), 0);
    EXPECT_EQ(claude.calls(), 1);
}

TEST_F(DoorTest, TheLastEventsAreKeptForWhoeverAsks) {
    for (int i = 0; i < 1200; ++i)
        state->emit(u"event %1"_s.arg(i), EventKind::dim);
    state->emit(QString(3 << 20, u'x'), EventKind::dim);
    state->emit(u"last"_s, EventKind::good);
    const auto texts = [&] {
        const auto client = asks(verb(u"log"_s));
        EXPECT_EQ(client->end(), 0);
        return client->all(u"text"_s);
    };
    EXPECT_EQ(texts(), QStringList{u"last"_s}) << "in a limited memory";
    for (int i = 0; i < 1200; ++i)
        state->emit(u"event %1"_s.arg(i), EventKind::dim);
    EXPECT_EQ(texts().size(), 1000);
    EXPECT_EQ(texts().last(), u"event 1199"_s);
}

TEST_F(DoorTest, TheStatusTellsWhatTheApplicationDoes) {
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    const auto client = asks(verb(u"status"_s));
    EXPECT_EQ(client->end(), 0);
    EXPECT_TRUE(client->all(u"line"_s).contains(
        u"✓ application       running, signed in as ann@host, connected to the web page, calls don't reach this Mac (ask the "_s
        u"admin to route your number)"_s))
        << client->all(u"line"_s).join(u'\n').toStdString();
    const auto json = asks({{u"do"_s, u"status"_s}, {u"json"_s, true}});
    EXPECT_EQ(json->end(), 0);
    EXPECT_EQ(QJsonDocument::fromJson(json->all(u"raw"_s).value(0).toUtf8())[u"application"_s].toObject(),
              (QJsonObject{{u"account"_s, u"signed in as ann@host"_s},
                           {u"connected"_s, true},
                           {u"busy"_s, false},
                           {u"step"_s, 0},
                           {u"takesCalls"_s, false},
                           {u"calls"_s, QJsonArray()},
                           {u"sharing"_s, false}}));
}

TEST_F(DoorTest, WhereACallMayBePlacedIsToldWhileCallsAreTaken) {
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const int port = probe.serverPort();
    probe.close();
    ASSERT_TRUE(state->settings.callPort.write(port));
    const auto early = asks(verb(u"call-access"_s));
    EXPECT_EQ(early->end(), 1);
    EXPECT_EQ(early->all(u"error"_s), QStringList(u"The application takes no calls: it is not signed in."_s));
    config = json(R"({"email": "ann@host", "trusted": true, "ws_token": "secret"})");
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->serverListening(); }));
    const auto client = asks(verb(u"call-access"_s));
    EXPECT_EQ(client->end(), 0);
    EXPECT_TRUE(
        client->lines.contains(QJsonObject{{u"call"_s, QJsonObject{{u"port"_s, port}, {u"token"_s, u"secret"_s}}}}));
    const auto status = asks(verb(u"status"_s));
    EXPECT_EQ(status->end(), 0);
    EXPECT_TRUE(status->all(u"line"_s).join(u'\n').contains(u"taking calls on port %1"_s.arg(port)));
}

TEST_F(DoorTest, WithoutACallNoSoundCanBeShared) {
    EXPECT_EQ(asks({{u"do"_s, u"share-audio"_s}, {u"on"_s, true}})->end(), 1);
    EXPECT_EQ(asks({{u"do"_s, u"share-audio"_s}, {u"on"_s, false}})->end(), 0);
}

TEST_F(DoorTest, WithoutAPanelThatIsSaid) {
    const auto client = asks(verb(u"panel"_s));
    EXPECT_EQ(client->end(), 1);
    EXPECT_TRUE(client->all(u"error"_s).join(u' ').contains(u"without a panel"_s));
}

TEST_F(DoorTest, ThePanelIsOpenedAndASecondStartIsToldApart) {
    struct Windows final : Shell {
        bool openPanel() override { return note(u"panel"_s); }
        bool startedAgain() override { return note(u"again"_s); }
        bool note(const QString &what) {
            asked += what;
            return !isEnding;
        }
        QStringList asked;
        bool isEnding = false;
    } windows;
    ControlDoor other(*state, &windows);
    EXPECT_TRUE(other.open(home.filePath(u"other"_s)));
    for (const bool again : {false, true}) {
        Client client(home.filePath(u"other"_s));
        client.ask({{u"do"_s, u"panel"_s}, {u"again"_s, again}});
        EXPECT_EQ(client.end(), 0);
    }
    EXPECT_EQ(windows.asked, (QStringList{u"panel"_s, u"again"_s}));
    windows.isEnding = true;
    Client late(home.filePath(u"other"_s));
    late.ask(verb(u"panel"_s));
    EXPECT_EQ(late.end(), 1);
    test::await(other.end());
}

TEST_F(DoorTest, TheToolIsTestedThere) {
    claude.playAlways("echo '{\"result\": \"ombru test ok\"}'");
    const auto client = asks(verb(u"test-claude"_s));
    EXPECT_EQ(client->end(), 0);
    EXPECT_TRUE(client->all(u"line"_s).value(0).startsWith(u"✓ claude -p works ("_s));
}

TEST_F(DoorTest, ASignInShowsItsCodeAndWaits) {
    start =
        json(R"({"device_code": "dev", "user_code": "AB-CD", "verify_url": "https://host/verify", "interval": 0.01})");
    const auto client = asks(verb(u"sign-in"_s));
    EXPECT_TRUE(waitUntil(
        [&] { return client->all(u"line"_s).contains(u"Open https://host/verify and approve the code AB-CD"_s); }));
    EXPECT_TRUE(waitUntil([&] { return !client->all(u"live"_s).isEmpty(); }));
    polls = {json(R"({"status": "ok", "token": "new"})")};
    EXPECT_EQ(client->end(), 0);
    EXPECT_EQ(client->all(u"line"_s).last(), u"signed in as ann@host"_s);
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    const auto out = asks(verb(u"sign-out"_s));
    EXPECT_EQ(out->end(), 0);
    EXPECT_EQ(out->all(u"line"_s), QStringList{u"Signed out."_s});
    EXPECT_EQ(auth(), u"out"_s);
}

TEST_F(DoorTest, ASignInIsCancelledByWhoeverBeganIt) {
    const auto client = asks(verb(u"sign-in"_s));
    ASSERT_TRUE(becomes(u"pairing AB-CD https://host/verify"_s));
    const auto other = asks(verb(u"sign-in"_s));
    EXPECT_TRUE(waitUntil([&] { return !other->all(u"line"_s).isEmpty(); })) << "it is joined";
    EXPECT_EQ(requestsFor("/api/device/start"), 1U);
    other->ask(verb(u"cancel"_s));
    EXPECT_EQ(other->end(), 130);
    EXPECT_EQ(auth(), u"pairing AB-CD https://host/verify"_s);
    client->ask(verb(u"cancel"_s));
    EXPECT_EQ(client->end(), 130);
    EXPECT_EQ(auth(), u"out"_s);
}

TEST_F(DoorTest, OneWhoStopsASignInBeforeItsCodeHasComeGetsNoPage) {
    start.manner = test::AccountReply::Manner::silence;
    const auto client = asks(verb(u"sign-in"_s));
    ASSERT_TRUE(requested("/api/device/start", 1));
    client->ask(verb(u"cancel"_s));
    EXPECT_EQ(client->end(), 130);
    EXPECT_TRUE(waitUntil([this] { return !state->signingIn->running; })) << "nothing waits for the service";
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_TRUE(FakePlatform::instance().desktop->openedURLs.isEmpty());
}

TEST_F(DoorTest, ACancelledSignInIsNotJoined) {
    ManualClock clock; // its last poll does not come
    const auto first = asks(verb(u"sign-in"_s));
    EXPECT_TRUE(waitUntil([&] { return !first->all(u"line"_s).isEmpty(); }));
    first->ask(verb(u"cancel"_s));
    EXPECT_EQ(first->end(), 130);
    start = json(R"({"device_code": "dev", "user_code": "EF-GH", "verify_url": "https://host/verify"})");
    const auto second = asks(verb(u"sign-in"_s));
    EXPECT_TRUE(waitUntil([&] {
        return second->all(u"line"_s) == QStringList{u"Open https://host/verify and approve the code EF-GH"_s};
    })) << second->all(u"line"_s).join(u'\n').toStdString();
}

TEST_F(DoorTest, ACodeThatAnEarlierSignInLeftIsNotShown) {
    start =
        json(R"({"device_code": "dev", "user_code": "AB-CD", "verify_url": "https://host/verify", "interval": 0.01})");
    polls = {json(R"({"status": "ok", "token": "new"})")};
    config = json("no json"); // so that the code stays
    const auto first = asks(verb(u"sign-in"_s));
    EXPECT_EQ(first->end(), 0);
    EXPECT_EQ(auth(), u"pairing AB-CD https://host/verify"_s);
    start = json(R"({"device_code": "dev", "user_code": "EF-GH", "verify_url": "https://host/verify"})");
    polls = {json("{}")};
    const auto second = asks(verb(u"sign-in"_s));
    EXPECT_TRUE(waitUntil([&] { return !second->all(u"line"_s).isEmpty(); }));
    EXPECT_EQ(second->all(u"line"_s), QStringList{u"Open https://host/verify and approve the code EF-GH"_s});
}

TEST_F(DoorTest, OneWhoJoinsASignInDoesNotChangeItsService) {
    const auto client = asks(verb(u"sign-in"_s));
    ASSERT_TRUE(becomes(u"pairing AB-CD https://host/verify"_s));
    const auto elsewhere = asks({{u"do"_s, u"sign-in"_s}, {u"server"_s, u"https://other.example"_s}});
    EXPECT_EQ(elsewhere->end(), 1);
    EXPECT_EQ(elsewhere->all(u"error"_s),
              QStringList{u"A sign-in to %1 is under way: wait for its end, or cancel it where it was begun."_s.arg(
                  service.base())});
    EXPECT_EQ(state->settings.serverURL(), service.base());
    EXPECT_EQ(auth(), u"pairing AB-CD https://host/verify"_s) << "it goes on";
    const auto same = asks({{u"do"_s, u"sign-in"_s}, {u"server"_s, service.base()}});
    EXPECT_TRUE(waitUntil([&] { return !same->all(u"line"_s).isEmpty(); })) << "it is joined";
    EXPECT_EQ(requestsFor("/api/device/start"), 1U);
}

TEST_F(DoorTest, ASignInThatFailsSaysWhy) {
    start = json("{}");
    const auto client = asks(verb(u"sign-in"_s));
    EXPECT_EQ(client->end(), 1);
    EXPECT_EQ(
        client->all(u"line"_s),
        (QStringList{u"✗ sign-in failed: unexpected reply from "_s + service.base(),
                     u"The service is expected at %1. If yours is elsewhere: ombru sign-in --server ADDRESS"_s.arg(
                         service.base())}));
    const auto other = asks({{u"do"_s, u"sign-in"_s}, {u"server"_s, u"ftp://host"_s}});
    EXPECT_EQ(other->end(), 2);
    EXPECT_EQ(state->settings.serverURL(), service.base());
}
