#include "agent/AppleScriptRunner.h"

#include "platform/fake/FakePlatform.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using AppleScriptRunner::Outcome;
using test::isAlive;
using test::pidIn;

namespace {

class AppleScriptRunnerTest : public testing::Test {
protected:
    AppleScriptRunnerTest() { FakePlatform::reset(); }

    // What stands for osascript: a shell script that has the AppleScript on its standard input.
    void tool(const QByteArray &body) { FakePlatform::instance().osascript = m_scratch.script(u"osascript"_s, body); }
    // The AppleScript itself is a shell script.
    void shellTool() { tool("test \"$1\" = - && exec /bin/sh"); }

    Outcome run(const QString &script, double timeout = 60) {
        return test::await(AppleScriptRunner::run(script, timeout, m_run));
    }
    Outcome execute(const QString &script, double delay = 0) {
        return test::await(
            AppleScriptRunner::execute(script, 60, delay, m_run, [this](int line) { m_lines.push_back(line); }));
    }
    // Begins a script; its outcome comes in the result.
    std::shared_ptr<std::optional<Outcome>> begin(const QString &script, double timeout) {
        const auto outcome = std::make_shared<std::optional<Outcome>>();
        m_begun.push_back(test::keep(AppleScriptRunner::run(script, timeout, m_run), outcome));
        return outcome;
    }

    std::shared_ptr<std::optional<Outcome>> beginExecute(const QString &script, double timeout) {
        const auto outcome = std::make_shared<std::optional<Outcome>>();
        m_begun.push_back(test::keep(AppleScriptRunner::execute(script, timeout, 0, m_run, [](int) {}), outcome));
        return outcome;
    }
    // One that takes no marked script, and does this with one as it was written.
    void markersAreErrors(const QByteArray &otherwise) {
        tool("case $(cat) in *§L*) echo '0:5: syntax error: x (-2741)' >&2; exit 1;; esac; " + otherwise);
    }

    test::Scratch m_scratch;
    std::shared_ptr<AppleScriptRunner::Run> m_run = std::make_shared<AppleScriptRunner::Run>();
    std::vector<int> m_lines;
    std::vector<Task<>> m_begun;
};

} // namespace

TEST_F(AppleScriptRunnerTest, GivesTheOutputTrimmed) {
    shellTool();
    EXPECT_EQ(run(u"echo ''; echo '  done  '; echo ''"_s), (Outcome{true, u"done"_s}));
}

TEST_F(AppleScriptRunnerTest, WritesTheScriptAsItIs) {
    tool("exec cat");
    const auto script = u"say \"é 🚀\"\r\n\t-- §L1\nbeep"_s;
    EXPECT_EQ(run(script), (Outcome{true, script}));
}

TEST_F(AppleScriptRunnerTest, PassesTheOneArgumentThatMeansStandardInput) {
    tool("cat > /dev/null; echo \"$# $1\"");
    EXPECT_EQ(run(u"beep"_s), (Outcome{true, u"1 -"_s}));
}

TEST_F(AppleScriptRunnerTest, SaysSoWhenThereIsNoOutput) {
    shellTool();
    EXPECT_EQ(run(u"true"_s), (Outcome{true, u"(no output)"_s}));
    EXPECT_EQ(run({}), (Outcome{true, u"(no output)"_s}));
}

TEST_F(AppleScriptRunnerTest, AddsTheLog) {
    shellTool();
    EXPECT_EQ(run(u"echo one >&2; echo out; echo two >&2"_s), (Outcome{true, u"out\nlog:\none\ntwo"_s}));
    EXPECT_EQ(run(u"echo one >&2"_s), (Outcome{true, u"(no output)\nlog:\none"_s}));
    EXPECT_EQ(run(u"printf 'one\\n\\nlast without line end' >&2"_s),
              (Outcome{true, u"(no output)\nlog:\none\n\nlast without line end"_s}));
}

TEST_F(AppleScriptRunnerTest, AnErrorHasItsStatusLogAndOutput) {
    shellTool();
    EXPECT_EQ(run(u"echo '0:4: execution error: no (-2700)' >&2; echo partly; exit 1"_s),
              (Outcome{false, u"Error (exit 1): 0:4: execution error: no (-2700)\npartly"_s}));
    EXPECT_EQ(run(u"exit 3"_s), (Outcome{false, u"Error (exit 3): \n"_s})) << "the line break is there all the same";
}

TEST_F(AppleScriptRunnerTest, TheStatusOfASignalledScriptIsTheBareNumber) {
    shellTool();
    EXPECT_EQ(run(u"kill -SEGV $$"_s), (Outcome{false, u"Error (exit 11): \n"_s}));
}

TEST_F(AppleScriptRunnerTest, AMissingToolIsAnOutcome) {
    FakePlatform::instance().osascript = u"/no/such/osascript"_s;
    const Outcome expected{false, u"couldn't start osascript: /no/such/osascript: No such file or directory"_s};
    EXPECT_EQ(run(u"beep"_s), expected);
    EXPECT_FALSE(m_run->process) << "it is stored only after a start";
    EXPECT_EQ(execute(u"beep"_s), expected);
}

TEST_F(AppleScriptRunnerTest, AToolThatMayNotBeRunIsAnOutcome) {
    FakePlatform::instance().osascript = m_scratch.write(u"osascript"_s, "#!/bin/sh\n");
    const auto outcome = run(u"beep"_s);
    EXPECT_FALSE(outcome.ok);
    EXPECT_TRUE(outcome.text.startsWith(u"couldn't start osascript: "_s));
    EXPECT_TRUE(outcome.text.endsWith(u": Permission denied"_s)) << outcome.text.toStdString();
}

TEST_F(AppleScriptRunnerTest, BrokenBytesAreRepaired) {
    shellTool();
    EXPECT_EQ(run(u"printf 'a\\377b'; printf 'c\\377d\\n' >&2"_s), (Outcome{true, u"a\uFFFDb\nlog:\nc\uFFFDd"_s}));
}

TEST_F(AppleScriptRunnerTest, HalfACharacterInTheScriptMeansNothingIsWritten) {
    tool("exec cat");
    EXPECT_EQ(run(u"beep "_s + QChar(0xD83D)), (Outcome{true, u"(no output)"_s}));
}

TEST_F(AppleScriptRunnerTest, ALargeScriptArrivesWhole) {
    tool("exec wc -c");
    EXPECT_EQ(run(QString(5'000'000, u'x')), (Outcome{true, u"5000000"_s}));
}

TEST_F(AppleScriptRunnerTest, AToolThatDoesNotReadTheScriptIsNoError) {
    tool("exec <&-; echo done");
    EXPECT_EQ(run(QString(5'000'000, u'x')), (Outcome{true, u"done"_s}));
}

TEST_F(AppleScriptRunnerTest, FiftyMegabytesOfOutputAreFine) {
    shellTool();
    const auto outcome = run(u"yes out | head -c 50000000; yes e | head -c 50000000 >&2"_s);
    EXPECT_TRUE(outcome.ok);
    EXPECT_EQ(outcome.text.size(), 49'999'999 + 6 + 49'999'999);
}

TEST_F(AppleScriptRunnerTest, OutputWithoutEndIsAnOutcomeAndEndsTheScript) {
    shellTool();
    EXPECT_EQ(run(u"exec yes"_s), (Outcome{false, u"Script printed more than 256 MB and was ended."_s}));
}

TEST_F(AppleScriptRunnerTest, ATimeOutIsTold) {
    ManualClock clock;
    shellTool();
    const auto outcome = begin(u"echo $$ > "_s + m_scratch.path(u"pid"_s) + u"; echo partly; exec sleep 1000"_s, 30);
    const auto pid = pidIn(m_scratch.path(u"pid"_s));
    clock.advance(29'999ms);
    test::settle();
    EXPECT_FALSE(*outcome);
    EXPECT_TRUE(isAlive(pid));
    clock.advance(1ms);
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Script timed out after 30s."_s}));
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(AppleScriptRunnerTest, ATimeOutDropsTheFractionOfItsSeconds) {
    ManualClock clock;
    shellTool();
    const auto outcome = begin(u"exec sleep 1000"_s, 2.9);
    clock.advance(2900ms);
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Script timed out after 2s."_s}));
}

TEST_F(AppleScriptRunnerTest, ATimeOutEndsAScriptThatIgnoresItAndAllItStarted) {
    ManualClock clock;
    shellTool();
    const auto script = u"trap '' TERM; (trap '' TERM; while :; do sleep 0.05; done) & echo $! > "_s +
                        m_scratch.path(u"child"_s) + u"; echo $$ > "_s + m_scratch.path(u"pid"_s) +
                        u"; while :; do sleep 0.05; done"_s;
    const auto outcome = begin(script, 30);
    const auto pid = pidIn(m_scratch.path(u"pid"_s));
    const auto child = pidIn(m_scratch.path(u"child"_s));
    clock.advance(30s);
    test::settle();
    clock.advance(2s);
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Script timed out after 30s."_s}));
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(pid) && !isAlive(child); }));
}

TEST_F(AppleScriptRunnerTest, ATimeOutAfterTheEndReachesNobody) {
    ManualClock clock;
    shellTool();
    EXPECT_EQ(run(u"sleep 1000 & echo $! > "_s + m_scratch.path(u"child"_s), 30), (Outcome{true, u"(no output)"_s}));
    clock.advance(1h);
    test::settle();
    const auto child = pidIn(m_scratch.path(u"child"_s));
    EXPECT_TRUE(isAlive(child));
    ::kill(static_cast<pid_t>(child), SIGKILL);
}

TEST_F(AppleScriptRunnerTest, CancelEndsTheScriptAndAllItStarted) {
    shellTool();
    const auto outcome = begin(u"sleep 1000 & echo $! > "_s + m_scratch.path(u"child"_s) + u"; echo $$ > "_s +
                                   m_scratch.path(u"pid"_s) + u"; wait"_s,
                               60);
    const auto pid = pidIn(m_scratch.path(u"pid"_s));
    const auto child = pidIn(m_scratch.path(u"child"_s));
    m_run->cancel();
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Error (exit 15): \n"_s}));
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(pid) && !isAlive(child); }));
}

TEST_F(AppleScriptRunnerTest, CancelBeforeAnyScriptDoesNothing) {
    shellTool();
    m_run->cancel();
    EXPECT_EQ(run(u"echo ok"_s), (Outcome{true, u"ok"_s}));
}

TEST_F(AppleScriptRunnerTest, CancelAfterTheEndLeavesBackgroundJobsAndTheNextScriptAlone) {
    shellTool();
    EXPECT_TRUE(run(u"sleep 1000 & echo $! > "_s + m_scratch.path(u"child"_s)).ok);
    const auto first = m_run->process;
    ASSERT_TRUE(first) << "it is never cleared";
    m_run->cancel();
    test::settle();
    const auto child = pidIn(m_scratch.path(u"child"_s));
    EXPECT_TRUE(isAlive(child));
    ::kill(static_cast<pid_t>(child), SIGKILL);
    EXPECT_EQ(run(u"echo again"_s), (Outcome{true, u"again"_s}));
    EXPECT_NE(m_run->process, first) << "and replaced by the next script's";
}

TEST_F(AppleScriptRunnerTest, TwoScriptsAtOnceDoNotMix) {
    shellTool();
    const auto other = std::make_shared<AppleScriptRunner::Run>();
    const auto slow = begin(u"sleep 0.2; echo slow; echo slow log >&2"_s, 60);
    EXPECT_EQ(test::await(AppleScriptRunner::run(u"echo quick; echo quick log >&2"_s, 60, other)),
              (Outcome{true, u"quick\nlog:\nquick log"_s}));
    ASSERT_TRUE(test::waitUntil([&] { return slow->has_value(); }));
    EXPECT_EQ(**slow, (Outcome{true, u"slow\nlog:\nslow log"_s}));
}

TEST_F(AppleScriptRunnerTest, APlainRunTakesMarkersOutOfTheLog) {
    shellTool();
    EXPECT_EQ(run(u"printf '§L5\\nkept\\n§Lx\\n §L6\\n§L7' >&2"_s),
              (Outcome{true, u"(no output)\nlog:\nkept\n §L6"_s}));
}

TEST_F(AppleScriptRunnerTest, APlainRunMapsErrorPositions) {
    tool("cat > /dev/null; echo '25:30: execution error: no' >&2; exit 1");
    EXPECT_EQ(run(u"tell me to log \"§L1\"\nerror \"no\""_s),
              (Outcome{false, u"Error (exit 1): 4:9: execution error: no\n"_s}));
}

TEST_F(AppleScriptRunnerTest, ExecuteReportsLinesWhileTheScriptRuns) {
    const auto gate = m_scratch.path(u"gate"_s);
    tool("cat > /dev/null; echo '§L1' >&2; while [ ! -e " + gate.toUtf8() +
         " ]; do sleep 0.01; done; echo noise >&2; echo '§L3' >&2; echo out");
    const auto outcome = std::make_shared<std::optional<Outcome>>();
    const auto kept = test::keep(
        AppleScriptRunner::execute(u"a\n\nb"_s, 60, 0, m_run, [this](int line) { m_lines.push_back(line); }), outcome);
    EXPECT_TRUE(test::waitUntil([&] { return m_lines == std::vector{1}; }));
    EXPECT_FALSE(*outcome);
    m_scratch.write(u"gate"_s, {});
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{true, u"out\nlog:\nnoise"_s}));
    EXPECT_EQ(m_lines, (std::vector{1, 3}));
}

TEST_F(AppleScriptRunnerTest, ExecuteRunsTheMarkedScript) {
    tool("exec cat");
    EXPECT_EQ(execute(u"beep"_s, 0.5), (Outcome{true, u"tell me to log \"§L1\"\ntell me to delay 0.5\nbeep"_s}));
}

TEST_F(AppleScriptRunnerTest, AMarkerLeftOverWithoutALineEndIsNeitherReportedNorLogged) {
    tool("cat > /dev/null; printf '§L1\\n§L2' >&2");
    EXPECT_EQ(execute(u"a\nb"_s), (Outcome{true, u"(no output)"_s}));
    EXPECT_EQ(m_lines, std::vector{1});
}

TEST_F(AppleScriptRunnerTest, OnlyNumbersAreReported) {
    tool("cat > /dev/null; printf '§Lx\\n§L\\n§L 1\\n§L1 \\n§L99999999999\\n§L٣\\n§L-4\\n§L+5\\n' >&2");
    EXPECT_EQ(execute(u"a"_s), (Outcome{true, u"(no output)"_s}));
    EXPECT_EQ(m_lines, (std::vector{-4, 5}));
}

TEST_F(AppleScriptRunnerTest, ALineThatArrivesInPiecesIsOneLine) {
    tool("cat > /dev/null; printf '\\302' >&2; sleep 0.05; printf '\\247L' >&2; sleep 0.05; printf '12\\nmo' >&2; "
         "sleep 0.05; echo re >&2");
    EXPECT_EQ(execute(u"a"_s), (Outcome{true, u"(no output)\nlog:\nmore"_s}));
    EXPECT_EQ(m_lines, std::vector{12});
}

TEST_F(AppleScriptRunnerTest, ASyntaxErrorBeforeAnyMarkerRunsTheScriptAsWritten) {
    tool("script=$(cat); case $script in *§L*) echo '0:5: syntax error: x (-2741)' >&2; exit 1;; esac; "
         "echo '§L9' >&2; echo \"$script\"");
    EXPECT_EQ(execute(u"beep"_s), (Outcome{true, u"beep"_s}));
    EXPECT_EQ(m_lines, std::vector<int>()) << "the second run reports no lines";
}

TEST_F(AppleScriptRunnerTest, ASyntaxErrorOfTheScriptItselfIsTheSecondRunsError) {
    tool("cat > /dev/null; echo '0:5: syntax error: x (-2741)' >&2; exit 1");
    EXPECT_EQ(execute(u"beep ("_s), (Outcome{false, u"Error (exit 1): 0:5: syntax error: x (-2741)\n"_s}));
}

TEST_F(AppleScriptRunnerTest, TheSecondRunEndsByTheSameTimeOut) {
    ManualClock clock;
    markersAreErrors("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; exec sleep 1000");
    const auto outcome = beginExecute(u"beep"_s, 30);
    pidIn(m_scratch.path(u"pid"_s));
    clock.advance(29'999ms);
    test::settle();
    EXPECT_FALSE(*outcome);
    clock.advance(1ms);
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Script timed out after 30s."_s}));
}

TEST_F(AppleScriptRunnerTest, CancelEndsTheSecondRunToo) {
    markersAreErrors("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; exec sleep 1000");
    const auto outcome = beginExecute(u"beep"_s, 6000);
    const auto pid = pidIn(m_scratch.path(u"pid"_s));
    m_run->cancel();
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_FALSE((*outcome)->ok);
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(AppleScriptRunnerTest, AnErrorAfterAMarkerIsNotRunAgain) {
    tool("cat > /dev/null; echo run >> " + m_scratch.path(u"runs"_s).toUtf8() +
         "; echo '§L1' >&2; echo '25:30: syntax error in the argument' >&2; exit 1");
    EXPECT_EQ(execute(u"set x to 1"_s), (Outcome{false, u"Error (exit 1): 4:9: syntax error in the argument\n"_s}));
    EXPECT_EQ(test::contents(m_scratch.path(u"runs"_s)), "run\n");
}

TEST_F(AppleScriptRunnerTest, AnotherErrorBeforeAnyMarkerIsNotRunAgain) {
    tool("cat > /dev/null; echo run >> " + m_scratch.path(u"runs"_s).toUtf8() + "; echo 'execution error' >&2; exit 1");
    EXPECT_FALSE(execute(u"set x to 1"_s).ok);
    EXPECT_EQ(test::contents(m_scratch.path(u"runs"_s)), "run\n");
}

TEST_F(AppleScriptRunnerTest, RunsLeaveNoDescriptorBehind) {
    shellTool();
    run(u"true"_s);
    test::settle();
    const auto before = test::openDescriptors();
    for (int time = 0; time < 30; ++time)
        run(u"sleep 0 & echo x >&2; exit 1"_s);
    test::settle();
    EXPECT_EQ(test::openDescriptors(), before);
}
