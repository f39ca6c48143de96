#include "agent/RunCollecting.h"

#include "tests/support/Processes.h"

#include <cerrno>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<Process> shell(const QString &script) {
    return Process::make({.program = u"/bin/sh"_s, .arguments = {u"-c"_s, script}});
}

} // namespace

TEST(RunCollecting, GivesBothOutputsAndTheStatus) {
    const auto result = test::await(runCollecting(shell(u"echo out; echo err >&2; exit 3"_s)));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->out, "out\n");
    EXPECT_EQ(result->err, "err\n");
    EXPECT_EQ(result->status, 3);
}

TEST(RunCollecting, MoreThanAPipeHoldsOnBothStreamsArrivesWhole) {
    const auto result = test::await(
        runCollecting(shell(u"yes out | head -c 100000000 & yes err | head -c 100000000 >&2; wait; printf end"_s)));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->out.size(), 100'000'003);
    EXPECT_TRUE(result->out.endsWith("end"));
    EXPECT_EQ(result->err.size(), 100'000'000);
    EXPECT_EQ(result->err.count("err\n"), 25'000'000);
}

TEST(RunCollecting, KeepsTheTailOfAnOutputThatEndsAtExit) {
    for (int time = 0; time < 50; ++time) {
        const auto result = test::await(runCollecting(shell(u"printf head; exec printf tail"_s)));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->out, "headtail");
    }
}

TEST(RunCollecting, AChildThatClosesItsPipesEarlyIsAwaited) {
    const auto result = test::await(runCollecting(shell(u"echo a; exec >&- 2>&-; sleep 0.2; exit 9"_s)));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->out, "a\n");
    EXPECT_EQ(result->status, 9);
}

TEST(RunCollecting, AGrandchildThatKeepsThePipesIsNotAwaited) {
    const test::Scratch scratch;
    const auto result = test::await(
        runCollecting(shell(u"echo a; sleep 1000 & echo $! > "_s + scratch.path(u"pid"_s) + u"; echo b >&2"_s)));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->out, "a\n");
    EXPECT_EQ(result->err, "b\n");
    ::kill(static_cast<pid_t>(test::pidIn(scratch.path(u"pid"_s))), SIGKILL);
}

TEST(RunCollecting, TheStatusOfASignalledChildIsTheBareNumber) {
    const auto result = test::await(runCollecting(shell(u"kill -9 $$"_s)));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 9);
}

TEST(RunCollecting, AFailedStartIsTheFailure) {
    const auto result = test::await(runCollecting(Process::make({.program = u"/no/such/tool"_s})));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), (Failure{u"process"_s, ENOENT, u"/no/such/tool: No such file or directory"_s}));
}

TEST(RunCollecting, EndedFromOutsideItGivesWhatThereWas) {
    const test::Scratch scratch;
    const auto process =
        shell(u"echo early; echo $$ > "_s + scratch.path(u"pid"_s) + u"; while :; do sleep 0.05; done"_s);
    const auto result = std::make_shared<std::optional<Result<Collected>>>();
    const auto kept = test::keep(runCollecting(process), result);
    const auto pid = test::pidIn(scratch.path(u"pid"_s));
    process->terminate();
    ASSERT_TRUE(test::waitUntil([&] { return result->has_value(); }));
    ASSERT_TRUE(**result);
    EXPECT_EQ((**result)->out, "early\n");
    EXPECT_EQ((**result)->status, SIGTERM);
    EXPECT_FALSE(test::isAlive(pid));
}

TEST(RunCollecting, AChildThatPrintsWithoutEndIsAFailureThatSaysSo) {
    const auto process = Process::make({.program = u"/usr/bin/yes"_s, .outputLimit = 5 << 20});
    const auto result = test::await(runCollecting(process));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().description, u"it printed more than 5 MB and was ended"_s);
}

TEST(RunCollecting, TwoAtOnceDoNotMixTheirOutputs) {
    const auto one = std::make_shared<std::optional<Result<Collected>>>();
    const auto kept = test::keep(runCollecting(shell(u"sleep 0.1; yes 1 | head -c 3000000"_s)), one);
    const auto two = test::await(runCollecting(shell(u"yes 2 | head -c 3000000"_s)));
    ASSERT_TRUE(test::waitUntil([&] { return one->has_value(); }));
    ASSERT_TRUE(**one);
    ASSERT_TRUE(two);
    EXPECT_EQ((**one)->out.count("1\n"), 1'500'000);
    EXPECT_EQ(two->out.count("2\n"), 1'500'000);
}
