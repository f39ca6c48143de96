// What a task has started is gone after a cancel, and what it left before is named.

#include "tests/controller/CancelFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;
using CancelProcesses = test::CancelFixture;
using test::waitUntil;

namespace {

// Ends what a test's processes have left behind.
struct Kept {
    Kept() { Process::setKeeper(qEnvironmentVariable("OMBRU_BIN") + u"/ombru-keeper"_s); }
    ~Kept() { Process::setKeeper({}); }
    Kept(const Kept &) = delete;
    Kept &operator=(const Kept &) = delete;
};

} // namespace

TEST_F(CancelProcesses, EndsWhatAScriptPutIntoASessionOfItsOwn) {
    const Kept kept;
    qputenv("OMBRU_TEST_TASK", home.path().toUtf8());
    reply({block(u"x"_s)});
    osascript.play(1, "timeout 300 sleep 338 & (nohup setsid sleep 338 >/dev/null 2>&1 &)\n"
                      "echo $$ >\"$HOME/script.pid\"; sleep 338");
    state->startTask(u"go"_s);
    processIn(u"script.pid"_s);
    state->cancelTask();
    expectStopped();
    EXPECT_EQ(test::processesMarked("OMBRU_TEST_TASK=" + home.path().toUtf8()), QList<qint64>());
    qunsetenv("OMBRU_TEST_TASK");
}

TEST_F(CancelProcesses, WhatCannotBeSeenInTheNameOfWhatIsLeftIsShown) {
    const Kept kept;
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "ln -s /bin/sleep \"$HOME/sl\xE2\x80\xAE\" && { \"$HOME/sl\xE2\x80\xAE\" 338 & echo $! >"
                      "\"$HOME/left.pid\"; until grep -q ^sl /proc/$!/comm; do :; done; }");
    runTask(u"go"_s);
    const auto left = processIn(u"left.pid"_s);
    EXPECT_TRUE(events.contains(u"dim: left running by the script: sl«U+202E» (%1)"_s.arg(left)))
        << events.join(u'\n').toStdString();
    ::kill(static_cast<pid_t>(left), SIGKILL);
}

TEST_F(CancelProcesses, LeavesWhatAnEarlierScriptPutIntoTheBackgroundWhichTheLogNames) {
    const Kept kept;
    reply({block(u"x"_s)});
    osascript.play(1, "sleep 338 & echo $! >\"$HOME/left.pid\"");
    claude.play(2, "echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    state->startTask(u"go"_s);
    const auto left = processIn(u"left.pid"_s);
    processIn(u"claude.pid"_s);
    EXPECT_TRUE(events.contains(u"dim: left running by the script: sleep (%1)"_s.arg(left)));
    state->cancelTask();
    expectStopped();
    EXPECT_TRUE(test::isAlive(left));
    ::kill(static_cast<pid_t>(left), SIGKILL);
}

TEST_F(CancelProcesses, WhileClaudeThinksLeavesNoProcessBehind) {
    claude.play(1, "sleep 1000 & echo $! >\"$HOME/child.pid\"; echo $$ >\"$HOME/claude.pid\"; wait");
    state->startTask(u"go"_s);
    const auto pid = processIn(u"claude.pid"_s);
    const auto childPid = processIn(u"child.pid"_s);
    state->cancelTask();
    expectStopped();
    EXPECT_TRUE(isGone(pid));
    EXPECT_TRUE(isGone(childPid));
}

TEST_F(CancelProcesses, WhileClaudeThinksAndWillNotBeAsked) {
    claude.play(1, "trap '' TERM; echo $$ >\"$HOME/claude.pid\"; while :; do sleep 1000; done");
    state->startTask(u"go"_s);
    const auto pid = processIn(u"claude.pid"_s);
    state->cancelTask();
    expectStopped();
    EXPECT_TRUE(isGone(pid));
}

TEST_F(CancelProcesses, WhileAScriptRunsLeavesNoProcessBehind) {
    reply({block(u"x"_s)});
    osascript.play(1, "echo $$ >\"$HOME/script.pid\"; exec sleep 1000");
    state->startTask(u"go"_s);
    const auto pid = processIn(u"script.pid"_s);
    state->cancelTask();
    expectStopped();
    EXPECT_TRUE(isGone(pid));
    EXPECT_EQ(claude.calls(), 1);
    EXPECT_FALSE(events.join(u'\n').contains(u"script failed"_s)) << "it was the owner who ended it";
}

TEST_F(CancelProcesses, TheEndOfTheProgramEndsARunningTask) {
    claude.play(1, "echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    state->startTask(u"go"_s);
    const auto pid = processIn(u"claude.pid"_s);
    const auto over = std::make_shared<bool>(false);
    const auto draining = test::mark(state->drain(), over);
    EXPECT_EQ(state->status(), u"cancelling…"_s) << "the owner sees why nothing happens yet";
    EXPECT_TRUE(waitUntil([&] { return *over; }));
    EXPECT_FALSE(state->busy);
    EXPECT_TRUE(isGone(pid));
}

TEST_F(CancelProcesses, TheLogNamesWhatClaudeLeavesRunning) {
    const Kept kept;
    claude.file(u"reply.1"_s, resultJson(u"DONE: ok"_s));
    claude.play(1, "sleep 338 >/dev/null 2>&1 & echo $! >\"$HOME/left.pid\"; cat \"$d/reply.$n\"");
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
    const auto left = processIn(u"left.pid"_s);
    EXPECT_TRUE(events.contains(u"dim: left running by claude: sleep (%1)"_s.arg(left)))
        << events.join(u'\n').toStdString();
    EXPECT_TRUE(test::isAlive(left));
    ::kill(static_cast<pid_t>(left), SIGKILL);
}
