#include "tests/base/ProcessRuns.h"

#include <cerrno>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TEST(ProcessEnd, TerminateEndsTheWholeGroup) {
    const Scratch scratch;
    const auto child = scratch.path(u"child"_s);
    const auto grandchild = scratch.path(u"grandchild"_s);
    const auto process =
        Process::make(shell(u"echo $$ > "_s + child + u"; sleep 1000 & echo $! > "_s + grandchild + u"; wait"_s));
    ASSERT_TRUE(process->start());
    const auto childPid = pidIn(child);
    const auto grandchildPid = pidIn(grandchild);
    process->terminate();
    process->terminate();
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(childPid) && !isAlive(grandchildPid); }));
}

TEST(ProcessEnd, AChildThatIgnoresTheRequestIsKilledAfterTheGrace) {
    auto command = shell(u"trap '' TERM; echo ready; while :; do sleep 0.05; done"_s);
    command.grace = 50ms;
    bool ready = false;
    command.onOutput = [&](QByteArrayView) { ready = true; };
    const auto process = Process::make(command);
    ASSERT_TRUE(process->start());
    ASSERT_TRUE(test::waitUntil([&] { return ready; }));
    process->terminate();
    EXPECT_EQ(end(process).status, SIGKILL);
}

TEST(ProcessEnd, AGrandchildThatIgnoresTheRequestIsKilledWithTheChild) {
    const Scratch scratch;
    const auto pidFile = scratch.path(u"pid"_s);
    auto command = shell(u"(trap '' TERM; while :; do sleep 0.05; done) & echo $! > "_s + pidFile + u"; wait"_s);
    command.grace = 1h;
    const auto process = Process::make(command);
    ASSERT_TRUE(process->start());
    const auto grandchild = pidIn(pidFile);
    process->terminate();
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(grandchild); }));
}

TEST(ProcessEnd, AStoppedChildHearsTheRequest) {
    auto command = shell(u"echo $$; kill -STOP $$; exit 0"_s);
    command.grace = 1h;
    QByteArray out;
    command.onOutput = [&](QByteArrayView piece) { out += piece; };
    const auto process = Process::make(command);
    ASSERT_TRUE(process->start());
    ASSERT_TRUE(test::waitUntil([&] { return out.endsWith('\n'); }));
    process->terminate();
    test::await(process->ended());
    EXPECT_FALSE(process->isRunning());
}

TEST(ProcessEnd, TheOutputOfAnEndedChildIsKept) {
    auto command =
        shell(u"trap 'echo cleaning up; exit 6' TERM; echo ready > \"$READY\"; while :; do sleep 0.05; done"_s);
    const Scratch scratch;
    command.environment = ownEnvironment();
    command.environment->insert_or_assign("READY", scratch.path(u"ready"_s).toUtf8());
    const auto process = Process::make(command);
    ASSERT_TRUE(process->start());
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(scratch.path(u"ready"_s)); }));
    process->terminate();
    const auto result = end(process);
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.out, "cleaning up\n");
}

TEST(ProcessEnd, TerminatedBeforeItsStartItDoesNotStart) {
    const Scratch scratch;
    const auto marker = scratch.path(u"ran"_s);
    const auto process = Process::make(shell(u"touch "_s + marker));
    process->terminate();
    const auto started = process->start();
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().code, ECANCELED);
    test::settle();
    EXPECT_FALSE(QFile::exists(marker));
}

TEST(ProcessEnd, TerminateAfterTheEndReachesNobody) {
    const Scratch scratch;
    const auto pidFile = scratch.path(u"pid"_s);
    const auto process = Process::make(shell(u"sleep 1000 & echo $! > "_s + pidFile));
    ASSERT_TRUE(process->start());
    EXPECT_EQ(end(process).status, 0);
    process->terminate();
    test::settle();
    const auto grandchild = pidIn(pidFile);
    EXPECT_TRUE(isAlive(grandchild));
    EXPECT_EQ(process->status(), 0);
    ::kill(static_cast<pid_t>(grandchild), SIGKILL);
}

TEST(ProcessEnd, DroppedWhileItRunsItIsKilledWithItsGroup) {
    const Scratch scratch;
    const auto child = scratch.path(u"child"_s);
    const auto grandchild = scratch.path(u"grandchild"_s);
    auto process =
        Process::make(shell(u"echo $$ > "_s + child + u"; sleep 1000 & echo $! > "_s + grandchild + u"; wait"_s));
    ASSERT_TRUE(process->start());
    const auto childPid = pidIn(child);
    const auto grandchildPid = pidIn(grandchild);
    process.reset();
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(childPid) && !isAlive(grandchildPid); }));
    EXPECT_TRUE(test::waitUntil([&] { return ::kill(static_cast<pid_t>(childPid), 0) < 0; })) << "it stays a zombie";
}

TEST(ProcessEnd, WhatAChildLeftThatHasEndedIsNotKilledWithTheOthers) {
    const Scratch scratch;
    const auto process = Process::make(
        shell(u"cd '%1'; { until [ -e go ]; do sleep 0.01; done; touch done; } &"_s.arg(scratch.directory())));
    ASSERT_TRUE(process->start());
    EXPECT_EQ(end(process).status, 0);
    const auto other = Process::make(shell(u"sleep 600"_s));
    ASSERT_TRUE(other->start());
    Process::killAll();
    EXPECT_EQ(end(other).status, SIGKILL);
    scratch.write(u"go"_s, {});
    EXPECT_TRUE(test::waitUntil([&] { return QFile::exists(scratch.path(u"done"_s)); }));
}

TEST(ProcessEnd, AllCanBeKilledAtOnceWithTheirGroups) {
    const test::Scratch scratch;
    const auto stubborn =
        Process::make(shell(u"trap '' TERM; sleep 600 & echo $! >'%1'; wait"_s.arg(scratch.path(u"pid"_s))));
    const auto other = Process::make(shell(u"sleep 600"_s));
    ASSERT_TRUE(stubborn->start() && other->start());
    const auto job = test::pidIn(scratch.path(u"pid"_s));
    Process::killAll();
    EXPECT_EQ(end(stubborn).status, SIGKILL);
    EXPECT_EQ(end(other).status, SIGKILL);
    EXPECT_TRUE(test::waitUntil([&] { return !test::isAlive(job); }));
    Process::killAll(); // nobody is left
}
