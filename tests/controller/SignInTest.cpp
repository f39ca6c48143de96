#include "tests/controller/LinkFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountReply;
using test::AccountRequest;
using test::waitUntil;

namespace {

const QByteArray START = "/api/device/start";
const QByteArray POLL = "/api/device/poll";
const QByteArray CONFIG = "/api/device/config";
const QString CODE = u"pairing AB-CD https://host/verify"_s;

class SignIn : public test::LinkFixture {
protected:
    // Until the code is shown and the first wait has begun.
    void begin() {
        state->signIn();
        ASSERT_TRUE(becomes(CODE));
        comeToRest();
    }
    void pass(Clock::Duration time) {
        comeToRest();
        clock.advance(time);
    }

    ManualClock clock;
};

} // namespace

TEST_F(SignIn, ShowsACodeAsksAndSignsIn) {
    polls = {json("{}"), json(R"({"status": "pending"})"), json(R"({"status": "ok", "token": "new-token"})")};
    begin();
    EXPECT_EQ(service.requests.at(0).json(), (QJsonObject{{u"name"_s, u"desk"_s}}));
    EXPECT_EQ(FakePlatform::instance().desktop->openedURLs, QStringList{u"https://host/verify"_s});
    for (std::size_t poll = 1; poll <= 3; ++poll) {
        EXPECT_EQ(requestsFor(POLL), poll - 1);
        pass(2s);
        ASSERT_TRUE(requested(POLL, poll));
    }
    EXPECT_EQ(service.requests.at(1).json(), (QJsonObject{{u"device_code"_s, u"dev"_s}}));
    ASSERT_TRUE(waitUntil([this] { return events.contains(u"good: signed in as ann@host"_s); }));
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_TRUE(state->cloudReachable());
    EXPECT_TRUE(waitUntil([] { return storedToken() == u"new-token"_s; }));
    EXPECT_EQ(service.requests.back().header("Authorization"), "Bearer new-token");
    pass(60s);
    EXPECT_TRUE(requested(CONFIG, 2)) << "the heartbeat has begun";
}

TEST_F(SignIn, OneThatTheStoreDoesNotKeepCountsUntilTheEndAndIsNoEvent) {
    polls = {json(R"({"status": "ok", "token": "new-token"})")};
    FakePlatform::instance().desktop->keepsSecrets = false;
    begin();
    pass(2s);
    ASSERT_TRUE(waitUntil([this] { return events.contains(u"good: signed in as ann@host"_s); }));
    test::await(state->secretsKept());
    comeToRest();
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_EQ(storedToken(), std::nullopt);
    EXPECT_EQ(events, QStringList{u"good: signed in as ann@host"_s});
}

TEST_F(SignIn, AComputerWithoutANameIsAMac) {
    FakePlatform::instance().hostName.clear();
    begin();
    EXPECT_EQ(service.requests.at(0).json(), (QJsonObject{{u"name"_s, u"Mac"_s}}));
}

TEST_F(SignIn, PollsAsOftenAsTheServiceSays) {
    struct Case {
        QByteArray interval;
        Clock::Duration time;
    };
    for (const auto &[interval, time] : {Case{R"(, "interval": 5)", 5s}, Case{R"(, "interval": 0.5)", 500ms},
                                         Case{R"(, "interval": "5")", 2s}, Case{"", 2s}}) {
        service.requests.clear();
        FakePlatform::instance().desktop->openedURLs.clear();
        start = json(R"({"device_code": "dev", "user_code": "AB-CD", "verify_url": "https://host/verify")" + interval +
                     "}");
        begin();
        pass(time - 1ms);
        comeToRest();
        EXPECT_EQ(requestsFor(POLL), 0U) << interval.toStdString();
        pass(1ms);
        EXPECT_TRUE(requested(POLL, 1)) << interval.toStdString();
        state->cancelSignIn();
        pass(time); // the poll that is due after the cancel
        comeToRest();
    }
}

TEST_F(SignIn, AReplyThatIsNoCodeChangesNothing) {
    boot();
    ASSERT_EQ(auth(), u"in ann@host"_s);
    for (const auto *body : {"{}", "[]", R"({"user_code": "u", "verify_url": "https://h"})",
                             R"({"device_code": 1, "user_code": "u", "verify_url": "https://h"})",
                             R"({"device_code": "d", "user_code": null, "verify_url": "https://h"})",
                             R"({"device_code": "d", "user_code": "u", "verify_url": "https://a b/"})",
                             R"({"device_code": "d", "user_code": "u", "verify_url": ""})",
                             R"({"device_code": "d", "user_code": "u", "verify_url": "file:///etc/passwd"})",
                             R"({"device_code": "d", "user_code": "u", "verify_url": 7})"}) {
        events.clear();
        start = json(body);
        state->signIn();
        ASSERT_TRUE(waitUntil([this] { return !events.isEmpty(); })) << body;
        EXPECT_EQ(events, QStringList{u"bad: ✗ sign-in failed: unexpected reply from "_s + service.base()}) << body;
        EXPECT_EQ(auth(), u"in ann@host"_s) << body;
    }
    EXPECT_TRUE(FakePlatform::instance().desktop->openedURLs.isEmpty());
}

TEST_F(SignIn, AStartThatFailsSignsOut) {
    start = json("no json");
    state->signIn();
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(events.last().startsWith(u"bad: ✗ sign-in failed: "_s)) << events.last().toStdString();
    start = {.manner = AccountReply::Manner::silence};
    state->signIn();
    ASSERT_TRUE(requested(START, 2));
    clock.advance(60s);
    ASSERT_TRUE(waitUntil([this] { return events.last() == u"bad: ✗ sign-in failed: The request timed out."_s; }));
}

TEST_F(SignIn, AStartWhoseReplyBreaksOffSignsOut) {
    start.manner = AccountReply::Manner::dropsMidway;
    state->signIn();
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(events.last().startsWith(u"bad: ✗ sign-in failed: "_s)) << events.last().toStdString();
    EXPECT_TRUE(FakePlatform::instance().desktop->openedURLs.isEmpty());
}

TEST_F(SignIn, AStartThatReachesNobodySignsOut) {
    EXPECT_TRUE(state->settings.serverURL.write(u"http://127.0.0.1:1"_s));
    state->signIn();
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(events.last().startsWith(u"bad: ✗ sign-in failed: Failed to connect to 127.0.0.1"_s))
        << events.last().toStdString();
}

TEST_F(SignIn, APollWhoseReplyBreaksOffSignsOut) {
    polls = {{.body = R"({"status": "pending"})", .manner = AccountReply::Manner::dropsMidway}};
    begin();
    pass(2s);
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(events.last().startsWith(u"bad: ✗ sign-in failed: "_s)) << events.last().toStdString();
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 1U);
}

TEST_F(SignIn, APollThatReachesNobodySignsOut) {
    begin();
    EXPECT_TRUE(state->settings.serverURL.write(u"http://127.0.0.1:1"_s)); // read again for each request
    pass(2s);
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(events.last().startsWith(u"bad: ✗ sign-in failed: Failed to connect to 127.0.0.1"_s))
        << events.last().toStdString();
    EXPECT_EQ(requestsFor(POLL), 0U);
}

TEST_F(SignIn, APollThatIsNotAnsweredSignsOutAfterAMinute) {
    polls = {{.manner = AccountReply::Manner::silence}};
    begin();
    pass(2s);
    ASSERT_TRUE(requested(POLL, 1));
    clock.advance(59s);
    for (int turn = 0; turn < 20; ++turn)
        test::settle();
    EXPECT_EQ(auth(), CODE);
    clock.advance(1s);
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_EQ(events.last(), u"bad: ✗ sign-in failed: The request timed out."_s);
}

TEST_F(SignIn, APollThatFailsSignsOut) {
    polls = {json("<html>")};
    begin();
    pass(2s);
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(events.last().startsWith(u"bad: ✗ sign-in failed: "_s));
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 1U);
}

TEST_F(SignIn, ACodeThatExpiredEndsIt) {
    polls = {json(R"({"status": "expired"})")};
    begin();
    pass(2s);
    ASSERT_TRUE(becomes(u"out"_s));
    EXPECT_EQ(events.last(), u"warn: Sign-in code expired — try again."_s);
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 1U);
}

TEST_F(SignIn, OnlyTheExactWordsEndTheWait) {
    polls = {json(R"({"status": "OK"})"),
             json(R"({"status": "Expired"})"),
             json(R"({"status": " ok"})"),
             json(R"({"status": true})"),
             json("[]"),
             json("{}")};
    begin();
    for (std::size_t poll = 1; poll <= 7; ++poll) {
        pass(2s);
        ASSERT_TRUE(requested(POLL, poll));
        comeToRest();
        EXPECT_EQ(auth(), CODE);
    }
}

TEST_F(SignIn, ACancelSendsOneMorePollAndEndsSilently) {
    begin();
    state->cancelSignIn();
    EXPECT_EQ(auth(), u"out"_s);
    const auto before = events;
    pass(2s);
    ASSERT_TRUE(requested(POLL, 1));
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 1U);
    EXPECT_EQ(events, before);
    EXPECT_EQ(auth(), u"out"_s);
}

TEST_F(SignIn, TwoAtATimeAskSideBySideUntilACancel) {
    begin();
    start = json(R"({"device_code": "other", "user_code": "EF-GH", "verify_url": "https://host/other"})");
    state->signIn();
    ASSERT_TRUE(becomes(u"pairing EF-GH https://host/other"_s));
    service.requests.clear();
    for (std::size_t round = 1; round <= 3; ++round) {
        comeToRest(); // their waits have begun
        if (round == 3)
            state->cancelSignIn();
        clock.advance(2s);
        ASSERT_TRUE(requested(POLL, 2 * round));
    }
    QStringList codes;
    for (const auto &request : service.requests)
        codes += request.json()[u"device_code"_s].toString();
    EXPECT_EQ(codes.count(u"dev"_s), 3);
    EXPECT_EQ(codes.count(u"other"_s), 3);
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 6U) << "those that were due at the cancel were the last";
    EXPECT_FALSE(state->signingIn->running);
}

TEST_F(SignIn, TheApprovalOfOneOfTwoEndsTheOther) {
    begin();
    start = json(R"({"device_code": "other", "user_code": "EF-GH", "verify_url": "https://host/other"})");
    state->signIn();
    ASSERT_TRUE(becomes(u"pairing EF-GH https://host/other"_s));
    comeToRest();
    service.forgetRequests();
    polls = {{.manner = AccountReply::Manner::later}};
    clock.advance(2s);
    ASSERT_TRUE(requested(POLL, 2));
    service.answerNow(0, json(R"({"status": "ok", "token": "new"})"));
    ASSERT_TRUE(becomes(u"in ann@host"_s));
    EXPECT_TRUE(state->signingIn->running);
    service.answerNow(1, json("{}"));
    ASSERT_TRUE(waitUntil([this] { return !state->signingIn->running; }));
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 2U);
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_EQ(events, QStringList{u"good: signed in as ann@host"_s});
}

TEST_F(SignIn, ACodeThatExpiresWithThePollAfterACancelIsSaid) {
    polls = {json(R"({"status": "expired"})")};
    begin();
    state->cancelSignIn();
    pass(2s);
    ASSERT_TRUE(waitUntil([this] { return !state->signingIn->running; }));
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_EQ(events, QStringList{u"warn: Sign-in code expired — try again."_s});
    pass(10s);
    comeToRest();
    EXPECT_EQ(requestsFor(POLL), 1U);
}

TEST_F(SignIn, ACancelWhileItsCodeIsOnTheWayIsOvertakenByIt) {
    start.manner = AccountReply::Manner::later;
    state->signIn();
    ASSERT_TRUE(requested(START, 1));
    state->cancelSignIn();
    start.manner = AccountReply::Manner::whole;
    service.answerNow(0, start);
    EXPECT_TRUE(becomes(CODE)) << "it is looked at before each wait, and nowhere else";
}

TEST_F(SignIn, OneThatIsGivenUpBeforeItsCodeHasComeOpensNoPage) {
    start.manner = AccountReply::Manner::silence;
    state->signIn();
    ASSERT_TRUE(requested(START, 1));
    state->giveUpSignIn();
    ASSERT_TRUE(waitUntil([this] { return !state->signingIn->running; }));
    comeToRest();
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_EQ(events.last(), u"bad: ✗ sign-in failed: The request was given up."_s);
    EXPECT_FALSE(auths.contains(CODE));
    EXPECT_TRUE(FakePlatform::instance().desktop->openedURLs.isEmpty());
    start.manner = AccountReply::Manner::whole;
    begin(); // the next one is none of it
}

TEST_F(SignIn, OneThatIsGivenUpLaterIsCancelled) {
    begin();
    state->giveUpSignIn();
    EXPECT_EQ(auth(), u"out"_s);
    pass(2s);
    EXPECT_TRUE(requested(POLL, 1)) << "as by any cancel";
    ASSERT_TRUE(waitUntil([this] { return !state->signingIn->running; }));
    EXPECT_TRUE(events.isEmpty()) << events.join(u'\n').toStdString();
}

TEST_F(SignIn, AnApprovalThatComesWithThatPollSignsInAfterAll) {
    polls = {json(R"({"status": "ok", "token": "late"})")};
    begin();
    state->cancelSignIn();
    pass(2s);
    EXPECT_TRUE(becomes(u"in ann@host"_s));
    EXPECT_TRUE(waitUntil([] { return storedToken() == u"late"_s; }));
}

TEST_F(SignIn, AnApprovalWithoutATokenDeletesTheStoredOne) {
    boot(u"old"_s);
    polls = {json(R"({"status": "ok"})")};
    begin();
    pass(2s);
    ASSERT_TRUE(becomes(u"out"_s));
    ASSERT_TRUE(waitUntil([this] { return events.last().startsWith(u"good: signed in as "_s); }));
    EXPECT_TRUE(waitUntil([] { return !storedToken(); }));
    EXPECT_EQ(requestsFor(CONFIG), 1U) << "the start's";
}

TEST_F(SignIn, AnApprovalWithoutATokenOnANewComputerNamesNobody) {
    polls = {json(R"({"status": "ok"})")};
    begin();
    pass(2s);
    ASSERT_TRUE(waitUntil([this] { return !state->signingIn->running; }));
    EXPECT_EQ(events, QStringList{u"good: signed in as "_s});
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_EQ(requestsFor(CONFIG), 0U);
    EXPECT_FALSE(state->cloudReachable());
}

TEST_F(SignIn, AnApprovalWithoutATokenLeavesTheChannelToTheServiceAsARefusalDoes) {
    boot(u"old"_s);
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    polls = {json(R"({"status": "ok"})")};
    begin();
    pass(2s);
    ASSERT_TRUE(waitUntil([this] { return events.contains(u"good: signed in as ann@host"_s); }));
    comeToRest();
    EXPECT_TRUE(state->agentConnected());
    EXPECT_FALSE(service.newest().gone);
    EXPECT_EQ(service.channels.size(), 1U);
}

TEST_F(SignIn, ANewSignInDropsTheChannelOfTheOldToken) {
    boot(u"old"_s);
    ASSERT_TRUE(waitUntil([this] { return service.channels.size() == 1 && service.frameCount() >= 1; }));
    EXPECT_EQ(service.newest().request.header("Authorization"), "Bearer old");
    polls = {json(R"({"status": "ok", "token": "new"})")};
    begin();
    pass(2s);
    ASSERT_TRUE(waitUntil([this] { return service.channels.size() == 2; }));
    EXPECT_EQ(service.newest().request.header("Authorization"), "Bearer new");
    EXPECT_TRUE(waitUntil([this] { return service.channels[0]->gone; }));
    EXPECT_TRUE(waitUntil([this] { return state->agentConnected(); }));
}

TEST_F(SignIn, WithoutABrowserTheAddressIsInTheLog) {
    FakePlatform::instance().desktop->openingURL = std::unexpected(Failure{u"workspace"_s, 1, u"no browser"_s});
    state->signIn();
    EXPECT_TRUE(
        waitUntil([this] { return events.contains(u"warn: Open this page to sign in: https://host/verify"_s); }));
}

TEST_F(SignIn, OneThatBeginsWithTheProgramIsNotEndedByTheLookForAKeptToken) {
    const auto gate = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().desktop->beforeTellingSecrets = [gate] { gate->wait(false); };
    polls = {json(R"({"status": "ok", "token": "new-token"})")};
    const auto booted = std::make_shared<bool>(false);
    const auto booting = test::mark(state->boot(), booted);
    state->signIn();
    ASSERT_TRUE(becomes(CODE));
    *gate = true;
    gate->notify_all();
    ASSERT_TRUE(waitUntil([&] { return *booted; }));
    EXPECT_EQ(auth(), CODE);
    pass(2s);
    EXPECT_TRUE(waitUntil([this] { return events.contains(u"good: signed in as ann@host"_s); }));
}

TEST_F(SignIn, ABrowserThatTakesItsTimeHoldsNoPollUp) {
    const auto opened = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().desktop->beforeOpeningURL = [opened] { opened->wait(false); };
    state->signIn();
    ASSERT_TRUE(becomes(CODE));
    for (int turn = 0; turn < 20; ++turn)
        test::settle();
    clock.advance(2s);
    EXPECT_TRUE(requested(POLL, 1));
    *opened = true;
    opened->notify_all();
    comeToRest();
}

TEST_F(SignIn, TheEndOfTheProgramBreaksItOff) {
    begin();
    test::await(state->drain());
    EXPECT_EQ(requestsFor(POLL), 0U);
}

TEST_F(SignIn, SigningOutWithoutAnythingResetsAndSaysNothing) {
    CloudConfig received;
    received.email = u"a@b"_s;
    state->applyConfig(received);
    const auto before = events;
    state->signOut();
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_EQ(state->config(), CloudConfig());
    EXPECT_FALSE(state->cloudReachable());
    EXPECT_FALSE(state->agentConnected());
    comeToRest();
    EXPECT_EQ(events, before);
}

TEST_F(SignIn, SigningOutForgetsTheTokenAndEndsTheChannelButNoTask) {
    answerQuestions({u"DONE: ok"_s}, true);
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    EXPECT_TRUE(state->startTask(u"go"_s));
    EXPECT_TRUE(state->cloudReachable());
    EXPECT_EQ(storedToken(), u"tok"_s);
    state->signOut();
    EXPECT_EQ(auth(), u"out"_s);
    EXPECT_FALSE(state->agentConnected());
    EXPECT_FALSE(state->cloudReachable());
    EXPECT_TRUE(waitUntil([this] { return service.newest().gone; }));
    EXPECT_EQ(service.newest().frames.back().opcode, 8);
    EXPECT_TRUE(waitUntil([] { return !storedToken(); }));
    EXPECT_TRUE(state->busy);
    go();
    EXPECT_EQ(finish().answer, u"ok"_s);
}
