#include "tests/controller/CancelFixture.h"

#include <atomic>
#include <vector>

using namespace ombru;
using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;
using Cancel = test::CancelFixture;
using test::waitUntil;

namespace {

// Jobs that wait for something which never comes, on every thread that there is for jobs.
class StuckJobs {
public:
    StuckJobs() {
        const auto stuck = [released = m_released] { released->wait(false); };
        for (int count = 0; count < 50; ++count) {
            runInBackground(stuck);
            runAlone(stuck);
        }
    }
    ~StuckJobs() {
        *m_released = true;
        m_released->notify_all();
    }
    StuckJobs(const StuckJobs &) = delete;
    StuckJobs &operator=(const StuckJobs &) = delete;

private:
    std::shared_ptr<std::atomic<bool>> m_released = std::make_shared<std::atomic<bool>>(false);
};

} // namespace

TEST_F(Cancel, RightAfterTheStart) {
    reply({u"DONE: never"_s});
    state->startTask(u"go"_s);
    state->cancelTask();
    expectStopped();
}

TEST_F(Cancel, WhileTheScreenshotIsTaken) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto waiting = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().screenshot = [release, waiting]() -> Result<Picture> {
        *waiting = true;
        release->wait(false);
        return FakePlatform::plainPicture(64, 48, 0);
    };
    state->startTask(u"go"_s);
    ASSERT_TRUE(waitUntil([&] { return waiting->load(); }));
    state->cancelTask();
    *release = true;
    release->notify_all();
    expectStopped();
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(Cancel, WhileADisplayDoesNotAnswer) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().screenshot = [release]() -> Result<Picture> {
        release->wait(false);
        return FakePlatform::plainPicture(64, 48, 0);
    };
    state->startTask(u"go"_s);
    state->cancelTask();
    expectStopped();
    *release = true;
    release->notify_all();
}

TEST_F(Cancel, AScreenshotThatIsCalledOffIsNoFailureInTheLog) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().screenshot = [release]() -> Result<Picture> {
        release->wait(false);
        return FakePlatform::plainPicture(64, 48, 0);
    };
    state->startTask(u"go"_s);
    ASSERT_TRUE(until(u"rule: ── step 1"_s));
    state->cancelTask();
    expectStopped();
    *release = true;
    release->notify_all();
    ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    for (const auto &line : FakePlatform::instance().logged)
        EXPECT_FALSE(line.text.startsWith(u"screenshot: "_s)) << line.text.toStdString();
}

TEST_F(Cancel, AtEveryAwaitWhateverOtherJobsDo) {
    state->setWebChannel([](const AgentMessage &) {});
    state->setWebChannelOpen(true);
    reply({block(u"x"_s), block(u"x"_s)});
    // What the task says just before it waits for the lock, the screenshot, the preview, the split and the check.
    for (const QString &before : {u"you ❯ "_s, u"── step 1"_s, u"screenshot "_s, u"replied in "_s, u"script:\n"_s}) {
        std::optional<StuckJobs> stuck;
        cancelling = state->onEvent([&](const Event &event) {
            if (!event.text.startsWith(before))
                return;
            stuck.emplace();
            Loop::main().post([this] { state->cancelTask(); });
        });
        state->startTask(u"go"_s);
        expectStoppedAtOnce();
        EXPECT_TRUE(stuck) << before.toStdString();
        stuck.reset();
        ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    }
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(Cancel, WhileTheToolIsLookedFor) {
    ASSERT_TRUE(QFile::remove(home.filePath(u".local/bin/claude"_s)));
    const test::Scratch scratch;
    const auto shell = scratch.script(u"shell"_s, "echo $$ >\"$HOME/shell.pid\"; exec sleep 1000");
    FakePlatform::instance().ownerShell = {shell, u"command -v"_s};
    state->startTask(u"go"_s);
    const auto pid = processIn(u"shell.pid"_s);
    state->cancelTask();
    expectStopped();
    EXPECT_TRUE(isGone(pid));
    EXPECT_FALSE(events.join(u'\n').contains(u"couldn't find"_s));
}

TEST_F(Cancel, WhileTheScreenIsMeasured) {
    cancelAt(u"screenshot "_s);
    state->startTask(u"go"_s);
    expectStoppedAtOnce();
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(Cancel, WhileTheReplyIsRead) {
    reply({block(u"x"_s)});
    cancelAt(u"replied in "_s);
    state->startTask(u"go"_s);
    expectStoppedAtOnce();
    EXPECT_EQ(osascript.calls(), 0);
    EXPECT_FALSE(events.join(u'\n').contains(u"code: "_s)) << "no more is told of the reply";
}

TEST_F(Cancel, WhileAFinalReplyIsRead) {
    reply({u"DONE: too late"_s});
    cancelAt(u"replied in "_s);
    state->startTask(u"go"_s);
    expectStoppedAtOnce();
}

TEST_F(Cancel, WhileThePreviewForTheWebPageIsMade) {
    QStringList sent;
    state->setWebChannel([&](const AgentMessage &told) {
        const auto message = toJson(told);
        sent.append(message[u"type"_s].toString());
    });
    state->setWebChannelOpen(true);
    cancelAt(u"screenshot "_s);
    state->startTask(u"go"_s);
    expectStoppedAtOnce();
    EXPECT_FALSE(sent.contains(u"screenshot"_s));
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(Cancel, WhileTheSystemIsAskedWhetherAnApplicationIsAllowed) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto waiting = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().desktop->beforeDetermining = [release, waiting](const QString &, bool) {
        *waiting = true;
        release->wait(false);
    };
    reply({block(u"tell application id \"com.apple.mail\" to beep"_s)});
    state->startTask(u"go"_s);
    ASSERT_TRUE(waitUntil([&] { return waiting->load(); }));
    state->cancelTask();
    expectStopped();
    *release = true;
    release->notify_all();
    EXPECT_EQ(osascript.calls(), 0);
    EXPECT_TRUE(state->blockedApps->isEmpty());
}

TEST_F(Cancel, WhileAnApplicationIsLookedForByName) {
    reply({block(u"tell application \"Mail\" to beep"_s)});
    osascript.play(1, "echo $$ >\"$HOME/script.pid\"; exec sleep 1000");
    state->startTask(u"go"_s);
    const auto pid = processIn(u"script.pid"_s);
    state->cancelTask();
    expectStopped();
    EXPECT_TRUE(isGone(pid));
    EXPECT_EQ(osascript.calls(), 1);
}

TEST_F(Cancel, WhileAnApplicationIsStartedOutOfSight) {
    ManualClock clock; // its start would never end
    FakePlatform::instance().desktop->applications[u"com.apple.mail"_s] = {
        .name = u"Mail"_s, .running = false, .looksUntilItRuns = std::nullopt};
    reply({block(u"tell application id \"com.apple.mail\" to beep"_s)});
    state->startTask(u"go"_s);
    ASSERT_TRUE(waitUntil([] { return FakePlatform::instance().desktop->looks > 0; }));
    state->cancelTask();
    expectStopped();
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(Cancel, DuringThePauseAfterAScriptDoesNotWaitItOut) {
    ASSERT_TRUE(state->settings.settle.write(60));
    ManualClock clock; // the pause would never end by itself
    reply({block(u"x"_s)});
    state->startTask(u"go"_s);
    ASSERT_TRUE(until(u"result: "_s));
    state->cancelTask();
    expectStopped();
    EXPECT_EQ(claude.calls(), 1);
    EXPECT_EQ(state->step(), 1) << "no turn follows";
}

TEST_F(Cancel, DuringThePauseAfterTheLastScriptIsNoLackOfSteps) {
    ASSERT_TRUE(state->settings.settle.write(60));
    ASSERT_TRUE(state->settings.maxSteps.write(1));
    ManualClock clock;
    reply({block(u"x"_s)});
    state->startTask(u"go"_s);
    ASSERT_TRUE(until(u"result: "_s));
    state->cancelTask();
    expectStopped();
}

TEST_F(Cancel, WhileIdleNeverStopsTheNextTask) {
    reply({u"DONE: ok"_s});
    EXPECT_FALSE(state->cancelTask());
    EXPECT_EQ(state->status(), u"cancelling…"_s);
    EXPECT_FALSE(state->cancelling) << "nothing is being cancelled";
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
}

TEST_F(Cancel, IsAStateUntilTheTaskHasEnded) {
    claude.play(1, "echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    EXPECT_FALSE(state->cancelling);
    state->startTask(u"go"_s);
    processIn(u"claude.pid"_s);
    EXPECT_FALSE(state->cancelling);
    EXPECT_TRUE(state->cancelTask());
    EXPECT_TRUE(state->cancelling);
    expectStopped();
    EXPECT_FALSE(state->cancelling);
    EXPECT_FALSE(state->cancelTask()) << "no task runs any more";
}

TEST_F(Cancel, WhileTheDesktopIsWaitedFor) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto waiting = std::make_shared<std::atomic<bool>>(false);
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> lock = held;
    FakePlatform::instance().desktopLock = [release, waiting, held]() mutable {
        *waiting = true;
        release->wait(false);
        return DesktopLock(std::exchange(held, nullptr));
    };
    held = nullptr;
    state->startTask(u"go"_s);
    ASSERT_TRUE(waitUntil([&] { return waiting->load(); }));
    state->cancelTask();
    expectStopped();
    EXPECT_EQ(claude.calls(), 0);
    *release = true;
    release->notify_all();
    EXPECT_TRUE(waitUntil([&] { return lock.expired(); })) << "a lock that comes too late is given back";
}

TEST_F(Cancel, TwiceIsLikeOnce) {
    claude.play(1, "echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    state->startTask(u"go"_s);
    processIn(u"claude.pid"_s);
    state->cancelTask();
    state->cancelTask();
    expectStopped();
    EXPECT_EQ(events.count(u"warn: cancelled"_s), 1);
}

TEST_F(Cancel, TheNextTaskRunsAsEver) {
    claude.play(1, "echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    state->startTask(u"one"_s);
    processIn(u"claude.pid"_s);
    state->cancelTask();
    expectStopped();
    claude.file(u"reply.2"_s, resultJson(u"DONE: ok"_s));
    claude.play(2, "cat \"$d/reply.$n\"");
    EXPECT_EQ(runTask(u"two"_s).answer, u"ok"_s);
}
