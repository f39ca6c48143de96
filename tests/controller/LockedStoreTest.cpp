// A store of secrets that its owner unlocks late, or not at all, in the middle of what the controller keeps there.

#include "tests/controller/LinkFixture.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

const QByteArray CONFIG = "/api/device/config";

class LockedStore : public test::LinkFixture {
protected:
    static void lock(bool locked) { FakePlatform::instance().desktop->secretsLocked = locked; }
    // Ends the program and starts it again.
    void startAgain() {
        test::await(state->drain());
        heard = {};
        watched = {};
        service.requests.clear();
        state = std::make_unique<AppState>();
        test::await(state->boot());
    }
    void expectSignedOut() {
        comeToRest();
        EXPECT_EQ(auth(), u"out"_s);
        EXPECT_TRUE(service.requests.empty()) << "nobody was shown the token";
    }
    // At the next start while the store is locked still, and then at one that finds it unlocked.
    void expectSignedOutForGood(const QString &stored) {
        test::await(state->secretsKept());
        EXPECT_EQ(storedToken(), stored) << "it was locked";
        startAgain();
        expectSignedOut();
        EXPECT_EQ(storedToken(), stored);
        lock(false);
        startAgain();
        expectSignedOut();
        EXPECT_EQ(storedToken(), std::nullopt);
    }

    ManualClock clock;
};

} // namespace

TEST_F(LockedStore, OneThatIsUnlockedAfterTenMinutesSignsInThen) {
    const auto gate = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().desktop->secrets[u"device-token"_s] = u"tok"_s;
    FakePlatform::instance().desktop->beforeTellingSecrets = [gate] { gate->wait(false); };
    const auto booted = std::make_shared<bool>(false);
    const auto booting = test::mark(state->boot(), booted);
    ASSERT_TRUE(waitUntil([this] { return !state->permStates->isEmpty(); })) << "the store is asked after that";
    for (int minute = 1; minute <= 10; ++minute) {
        for (int turn = 0; turn < 10; ++turn)
            test::settle();
        clock.advance(1min);
        EXPECT_EQ(auth(), u"loading"_s) << minute;
        EXPECT_FALSE(*booted) << minute;
    }
    EXPECT_TRUE(service.requests.empty());
    EXPECT_TRUE(service.channels.empty());
    EXPECT_EQ(events, QStringList());
    *gate = true;
    gate->notify_all();
    ASSERT_TRUE(waitUntil([&] { return *booted; }));
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_EQ(requestsFor(CONFIG), 1U);
    EXPECT_EQ(storedToken(), u"tok"_s);
    EXPECT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    comeToRest();
    clock.advance(60s);
    EXPECT_TRUE(requested(CONFIG, 2)) << "the heartbeat has begun";
}

TEST_F(LockedStore, ASignOutHolds) {
    boot();
    lock(true);
    state->signOut();
    EXPECT_EQ(auth(), u"out"_s);
    expectSignedOutForGood(u"tok"_s);
}

TEST_F(LockedStore, ARefusalByTheServiceHolds) {
    boot();
    lock(true);
    config = {.status = 401};
    comeToRest();
    clock.advance(60s);
    ASSERT_TRUE(becomes(u"out"_s));
    config = json(R"({"email": "ann@host"})");
    expectSignedOutForGood(u"tok"_s);
}

TEST_F(LockedStore, ASignInThatItDoesNotTakeEndsWithTheProgramAndBringsBackNoOlderOne) {
    boot(u"old"_s);
    lock(true);
    polls = {json(R"({"status": "ok", "token": "new"})")};
    state->signIn();
    ASSERT_TRUE(waitUntil([this] { return state->auth->is<Auth::Pairing>(); }));
    comeToRest();
    clock.advance(2s);
    ASSERT_TRUE(waitUntil([this] { return events.contains(u"good: signed in as ann@host"_s); }));
    EXPECT_EQ(auth(), u"in ann@host"_s) << "until the end";
    expectSignedOutForGood(u"old"_s);
}
