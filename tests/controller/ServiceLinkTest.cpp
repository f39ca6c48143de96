// The start, the configuration and the heartbeat.

#include "base/SerialQueue.h"
#include "tests/controller/LinkFixture.h"

#include <latch>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountReply;
using test::settle;
using test::waitUntil;

namespace {

const QByteArray CONFIG = "/api/device/config";

class ServiceLinkTest : public test::LinkFixture {
protected:
    // One round of the heartbeat, whole.
    void beat(std::size_t requests) {
        comeToRest();
        beatAgain(requests);
    }
    // The next one, with nothing in between.
    void beatAgain(std::size_t requests) {
        clock.advance(60s);
        ASSERT_TRUE(requested(CONFIG, requests));
        comeToRest();
    }
    // A second sign-in, while this computer is signed in.
    void signInAgain() {
        const auto before = events.count(u"good: signed in as ann@host"_s);
        polls = {json(R"({"status": "ok", "token": "again"})")};
        state->signIn();
        ASSERT_TRUE(waitUntil([this] { return state->auth->is<Auth::Pairing>(); }));
        comeToRest();
        clock.advance(2s);
        ASSERT_TRUE(waitUntil([&] { return events.count(u"good: signed in as ann@host"_s) > before; }));
        comeToRest();
    }
    // What was sent so far has been looked at by the channel.
    static void settleChannel() {
        SerialQueue queue("test.later", SerialQueue::Jobs::lengthy);
        std::latch passed(1);
        queue.post([&passed] { passed.count_down(); });
        passed.wait();
    }
    // A base where nothing listens.
    void unplug() { EXPECT_TRUE(state->settings.serverURL.write(u"http://127.0.0.1:1"_s)); }

    ManualClock clock;
};

} // namespace

TEST_F(ServiceLinkTest, BeginsByLoading) {
    EXPECT_EQ(auth(), u"loading"_s);
    EXPECT_FALSE(state->cloudReachable());
    EXPECT_EQ(state->config(), CloudConfig());
}

TEST_F(ServiceLinkTest, AComputerThatNeverSignedInAsksNothing) {
    test::await(state->boot());
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_FALSE(state->permStates->isEmpty()) << "permissions are looked at first";
    clock.advance(10min);
    comeToRest();
    EXPECT_TRUE(service.requests.empty());
    EXPECT_TRUE(service.channels.empty());
}

TEST_F(ServiceLinkTest, AKeptTokenSignsInAndOpensTheChannel) {
    config = json(R"({"email": "ann@host", "trusted": true, "system_prompt": "be brief", "ws_token": "w"})");
    boot();
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_TRUE(state->cloudReachable());
    EXPECT_EQ(state->config->wsToken, u"w"_s);
    EXPECT_EQ(state->systemPrompt(), u"be brief"_s);
    EXPECT_EQ(state->settings.cachedPrompt(), u"be brief"_s);
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    EXPECT_EQ(service.newest().request.header("Authorization"), "Bearer tok") << "not the call server's";
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
    EXPECT_EQ(service.newest().frames[0].payload, R"({"type":"hello"})");
    EXPECT_TRUE(service.newest().frames[1].payload.contains(R"("type":"state")"));
}

TEST_F(ServiceLinkTest, APromptThatCannotBeKeptIsSaidOnceUntilOneIsKeptAgain) {
    config = json(R"({"email": "a", "system_prompt": "one"})");
    boot();
    const auto file = state->settings.file();
    QFile::setPermissions(file, QFile::ReadOwner);
    std::size_t beats = 1;
    for (const auto *prompt : {"two", "three"}) {
        config = json(R"({"email": "a", "system_prompt": ")" + QByteArray(prompt) + "\"}");
        beat(++beats);
    }
    ASSERT_EQ(events.size(), 1) << events.join(u'\n').toStdString();
    EXPECT_TRUE(events[0].startsWith(u"warn: ✗ cannot write "_s + file)) << events[0].toStdString();
    EXPECT_EQ(state->systemPrompt(), u"three"_s) << "it counts all the same";
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    beat(++beats);
    EXPECT_EQ(state->settings.cachedPrompt(), u"three"_s);
    EXPECT_EQ(events.size(), 1);
    QFile::setPermissions(file, QFile::ReadOwner);
    config = json(R"({"email": "a", "system_prompt": "four"})");
    beat(++beats);
    EXPECT_EQ(events.size(), 2);
}

TEST_F(ServiceLinkTest, AnEmptyPromptLeavesTheKeptOne) {
    ASSERT_TRUE(state->settings.cachedPrompt.write(u"kept"_s));
    config = json(R"({"email": "a", "system_prompt": ""})");
    boot();
    EXPECT_EQ(state->systemPrompt(), u"kept"_s);
    EXPECT_EQ(state->settings.cachedPrompt(), u"kept"_s);
}

TEST_F(ServiceLinkTest, AServiceThatIsDownAtTheStartLeavesItOfflineAndKeepsTrying) {
    const auto working = service.base();
    unplug();
    boot();
    EXPECT_EQ(auth(), u"in offline"_s);
    EXPECT_FALSE(state->cloudReachable());
    ASSERT_EQ(events.size(), 1);
    EXPECT_TRUE(events[0].startsWith(u"bad: ✗ couldn't reach http://127.0.0.1:1: "_s)) << events[0].toStdString();
    comeToRest();
    clock.advance(60s);
    ASSERT_TRUE(waitUntil([this] { return events.size() == 2; })) << "once a minute";
    EXPECT_TRUE(state->settings.serverURL.write(working));
    comeToRest();
    clock.advance(60s);
    EXPECT_TRUE(becomes(u"in ann@host"_s));
    EXPECT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    EXPECT_EQ(storedToken(), u"tok"_s);
}

TEST_F(ServiceLinkTest, AServiceThatGoesAwayLaterChangesOnlyThatItIsReached) {
    boot();
    const auto known = state->config();
    unplug();
    comeToRest();
    clock.advance(60s);
    ASSERT_TRUE(waitUntil([this] { return !state->cloudReachable(); }));
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_EQ(state->config(), known);
}

TEST_F(ServiceLinkTest, ARefusedTokenSignsOutAndKeepsTheRest) {
    config = json(R"({"email": "ann@host", "ws_token": "w"})");
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    config = {.status = 401};
    beat(2);
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_EQ(events.last(), u"warn: This Mac was disconnected from your ombru account — sign in again."_s);
    EXPECT_EQ(state->config->wsToken, u"w"_s);
    EXPECT_TRUE(state->cloudReachable());
    EXPECT_TRUE(state->agentConnected()) << "the service closes the channel";
    EXPECT_TRUE(waitUntil([] { return !storedToken(); }));
    const auto before = events;
    clock.advance(60s);
    comeToRest();
    clock.advance(60s);
    comeToRest();
    EXPECT_EQ(requestsFor(CONFIG), 2U) << "later rounds find no token";
    EXPECT_EQ(events, before);
    EXPECT_EQ(auth(), u"out"_s);
}

TEST_F(ServiceLinkTest, AnErrorWithAnObjectIsAConfiguration) {
    config = {.status = 500, .body = R"({"error": "down"})"};
    boot();
    EXPECT_EQ(auth(), u"in "_s);
    EXPECT_TRUE(state->cloudReachable());
    EXPECT_EQ(state->config(), CloudConfig());
}

TEST_F(ServiceLinkTest, ABadReplyIsAsGoodAsNone) {
    for (const auto &[body, why] :
         {std::pair("[]", u"bad response from "_s + service.base()), std::pair("", QString())}) {
        events.clear();
        config = json(body);
        boot();
        EXPECT_EQ(auth(), u"in offline"_s);
        ASSERT_FALSE(events.isEmpty());
        EXPECT_TRUE(events[0].startsWith(u"bad: ✗ couldn't reach "_s + service.base() + u": "_s + why))
            << events[0].toStdString();
    }
}

TEST_F(ServiceLinkTest, AReplyThatIsNoJsonAtTheStartLeavesItOffline) {
    config = json("<html>");
    boot();
    EXPECT_EQ(auth(), u"in offline"_s);
    EXPECT_FALSE(state->cloudReachable());
    ASSERT_EQ(events.size(), 1);
    EXPECT_TRUE(events[0].startsWith(u"bad: ✗ couldn't reach "_s + service.base() + u": "_s));
    EXPECT_FALSE(events[0].endsWith(u": "_s)) << "in the parser's words";
    EXPECT_EQ(storedToken(), u"tok"_s);
    config = json(R"({"email": "ann@host"})");
    beat(2);
    EXPECT_TRUE(becomes(u"in ann@host"_s));
}

TEST_F(ServiceLinkTest, AServiceThatSaysNothingAtTheStartLeavesItOffline) {
    config = {.manner = AccountReply::Manner::silence};
    FakePlatform::instance().desktop->secrets[u"device-token"_s] = u"tok"_s;
    const auto booted = std::make_shared<bool>(false);
    const auto booting = test::mark(state->boot(), booted);
    ASSERT_TRUE(requested(CONFIG, 1));
    EXPECT_EQ(auth(), u"loading"_s);
    clock.advance(60s);
    ASSERT_TRUE(waitUntil([&] { return *booted; }));
    EXPECT_EQ(auth(), u"in offline"_s);
    EXPECT_EQ(events, QStringList{u"bad: ✗ couldn't reach %1: The request timed out."_s.arg(service.base())});
}

TEST_F(ServiceLinkTest, WhileTheChannelIsDownABeatOpensNoSecondOne) {
    service.manner = test::AccountService::Manner::hangsUp;
    boot();
    std::size_t beats = 1;
    // The delay of the next attempt passes with a beat, or with the one after it when the drop was noticed late.
    while (service.channels.size() < 5 && beats < 100) {
        beat(++beats);
        EXPECT_FALSE(state->agentConnected());
        ASSERT_LE(service.channels.size(), beats);
    }
    EXPECT_EQ(service.channels.size(), 5U);
}

TEST_F(ServiceLinkTest, WhatADroppedChannelHadToSayIsNotHandled) {
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected() && service.frameCount() == 2; }));
    auto &channel = service.newest();
    channel.sendText(R"({"type": "task", "text": "late"})");
    channel.send({9, "mark"});
    // Without a turn of the main loop: what the channel tells waits for that.
    while (channel.frames.back().opcode != 10 && channel.socket->waitForReadyRead(test::GUARD_MILLISECONDS))
        continue;
    ASSERT_EQ(channel.frames.back().opcode, 10) << "the channel has had both";
    state->signOut();
    comeToRest();
    EXPECT_FALSE(state->busy());
    EXPECT_TRUE(events.filter(u"late"_s).isEmpty()) << events.join(u'\n').toStdString();
}

TEST_F(ServiceLinkTest, AsksOnceAMinuteForADayWithoutASecondChannel) {
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    constexpr std::size_t MINUTES = 200;
    comeToRest();
    for (std::size_t minute = 1; minute <= MINUTES; ++minute)
        beatAgain(minute + 1);
    EXPECT_EQ(requestsFor(CONFIG), MINUTES + 1);
    EXPECT_EQ(service.channels.size(), 1U);
    EXPECT_TRUE(events.isEmpty()) << events.join(u'\n').toStdString();
}

TEST_F(ServiceLinkTest, EachBeatLooksAtThePermissions) {
    boot();
    FakePlatform::instance().desktop->inputAllowed = false;
    beat(2);
    EXPECT_TRUE(
        waitUntil([this] { return state->permStates->value(u"accessibility"_s) == Permission::State::missing; }));
}

TEST_F(ServiceLinkTest, ASecondSignInLeavesOneHeartbeat) {
    boot();
    signInAgain();
    ASSERT_TRUE(requested(CONFIG, 3)) << "the start's, the sign-in's, and the last round of the heartbeat before";
    for (std::size_t minute = 1; minute <= 3; ++minute)
        beat(3 + minute);
    EXPECT_EQ(requestsFor(CONFIG), 6U) << "one a minute";
}

TEST_F(ServiceLinkTest, ASecondStartLeavesOneHeartbeat) {
    boot();
    comeToRest();
    boot();
    ASSERT_TRUE(requested(CONFIG, 3));
    for (std::size_t minute = 1; minute <= 3; ++minute)
        beat(3 + minute);
    EXPECT_EQ(requestsFor(CONFIG), 6U);
}

TEST_F(ServiceLinkTest, AHeartbeatWhoseWaitIsCutShortFinishesItsRoundAtOnce) {
    boot();
    comeToRest();
    FakePlatform::instance().desktop->inputAllowed = false;
    state->signOut();
    EXPECT_TRUE(waitUntil([this] {
        return state->permStates->value(u"accessibility"_s) == Permission::State::missing;
    })) << "no time has passed";
    comeToRest();
    FakePlatform::instance().desktop->inputAllowed = true;
    clock.advance(10min);
    comeToRest();
    EXPECT_EQ(state->permStates->value(u"accessibility"_s), Permission::State::missing) << "it was the last round";
}

TEST_F(ServiceLinkTest, ConfigurationsThatOverlapCountInTheOrderInWhichTheyCome) {
    boot();
    comeToRest();
    service.forgetRequests();
    config = {.manner = AccountReply::Manner::later};
    clock.advance(60s);
    ASSERT_TRUE(requested(CONFIG, 1)); // the heartbeat's
    const auto again = test::mark(state->boot(), std::make_shared<bool>());
    ASSERT_TRUE(requested(CONFIG, 2));
    service.answerNow(1, json(R"({"email": "second@host", "system_prompt": "second"})"));
    ASSERT_TRUE(becomes(u"in second@host"_s)) << "which nobody holds up";
    service.answerNow(0, json(R"({"email": "first@host"})"));
    ASSERT_TRUE(becomes(u"in first@host"_s)) << "it has come last";
    EXPECT_EQ(state->config->email, u"first@host"_s);
    EXPECT_EQ(state->config->systemPrompt, QString()) << "all of it";
}

TEST_F(ServiceLinkTest, ARefusalThatComesAfterAnOverlappingConfigurationSignsOut) {
    boot();
    comeToRest();
    service.forgetRequests();
    config = {.manner = AccountReply::Manner::later};
    clock.advance(60s);
    ASSERT_TRUE(requested(CONFIG, 1));
    const auto again = test::mark(state->boot(), std::make_shared<bool>());
    ASSERT_TRUE(requested(CONFIG, 2));
    service.answerNow(1, json(R"({"email": "second@host"})"));
    ASSERT_TRUE(becomes(u"in second@host"_s));
    service.answerNow(0, {.status = 401});
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_EQ(state->config->email, u"second@host"_s);
}

TEST_F(ServiceLinkTest, WhatHappensWhileTheChannelOpensIsNotSent) {
    service.manner = test::AccountService::Manner::stalls;
    boot();
    ASSERT_TRUE(waitUntil([this] { return service.channels.size() == 1; }));
    state->emit(u"too early"_s, EventKind::good);
    settleChannel();
    service.answerNow(service.newest());
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    state->emit(u"in time"_s, EventKind::good);
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 3; }));
    const auto &frames = service.newest().frames;
    EXPECT_EQ(frames[0].payload, R"({"type":"hello"})");
    EXPECT_TRUE(frames[1].payload.contains(R"("type":"state")"));
    EXPECT_TRUE(frames[2].payload.contains("in time"));
    comeToRest();
    EXPECT_EQ(service.frameCount(), 3U);
}

TEST_F(ServiceLinkTest, SigningOutEndsTheHeartbeatAfterItsRound) {
    boot();
    state->signOut();
    comeToRest();
    clock.advance(10min);
    comeToRest();
    EXPECT_EQ(requestsFor(CONFIG), 1U);
    EXPECT_EQ(auth(), u"out"_s);
}

TEST_F(ServiceLinkTest, TheEndSaysGoodbyeAndBreaksARequestOff) {
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    config = {.manner = AccountReply::Manner::silence};
    comeToRest();
    clock.advance(60s);
    ASSERT_TRUE(requested(CONFIG, 2)); // and is not answered
    test::await(state->drain());
    EXPECT_TRUE(waitUntil([this] { return service.newest().gone; }));
    EXPECT_EQ(service.newest().frames.back(), (test::ChannelFrame{8, "\x03\xe9"}));
    EXPECT_EQ(storedToken(), u"tok"_s);
}
