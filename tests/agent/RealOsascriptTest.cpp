// The runner over the real osascript: what it says arrives as an outcome, and nothing of it outlives a cancellation.
#include "agent/AppleScriptRunner.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using AppleScriptRunner::Outcome;
using test::isAlive;
using test::pidIn;

namespace {

class RealOsascript : public testing::Test {
protected:
    RealOsascript() {
        FakePlatform::reset();
        FakePlatform::instance().osascript = qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s;
    }

    Outcome run(const QString &script) { return test::await(AppleScriptRunner::run(script, 60, m_run)); }
    Outcome execute(const QString &script) { return test::await(executing(script)); }

    // Begins a script; its outcome comes in the result.
    std::shared_ptr<std::optional<Outcome>> begin(const QString &script) {
        const auto outcome = std::make_shared<std::optional<Outcome>>();
        m_begun.push_back(test::keep(executing(script), outcome));
        return outcome;
    }
    bool reaches(int line) {
        return test::waitUntil([&] { return !m_lines.empty() && m_lines.back() == line; });
    }

    // A statement that writes where the id of osascript itself can be read.
    QString tellId() const { return u"do shell script \"echo $PPID > '%1'\""_s.arg(m_scratch.path(u"id"_s)); }
    qint64 id() const { return pidIn(m_scratch.path(u"id"_s)); }

    test::Scratch m_scratch;
    std::shared_ptr<AppleScriptRunner::Run> m_run = std::make_shared<AppleScriptRunner::Run>();
    std::vector<int> m_lines;

private:
    Task<Outcome> executing(const QString &script) {
        return AppleScriptRunner::execute(script, 60, 0, m_run, [this](int line) { m_lines.push_back(line); });
    }

    std::vector<Task<>> m_begun;
};

} // namespace

TEST_F(RealOsascript, LogLinesArriveBesideTheResult) {
    const auto script = u"log \"дождь 🌧\"\nlog {1, \"b\"}\nreturn 7"_s;
    const Outcome expected{true, u"7\nlog:\nдождь 🌧\n1, b"_s};
    EXPECT_EQ(run(script), expected);
    EXPECT_EQ(execute(script), expected);
}

TEST_F(RealOsascript, ReportsEachStatementItReaches) {
    EXPECT_EQ(execute(u"set x to 0\n\nrepeat 2 times\n\tset x to x + 1\nend repeat\nreturn x"_s),
              (Outcome{true, u"2"_s}));
    EXPECT_EQ(m_lines, (std::vector{1, 3, 4, 4, 6}));
}

TEST_F(RealOsascript, AnErrorAfterAnEmojiIsWhereTheScriptAsWrittenHasIt) {
    // Line 1 is 15 characters long: the hand has a skin tone, the letter an accent of its own.
    const auto script = u"set x to \"👍🏽e\u0301\"\nset y to missingThing"_s;
    const Outcome expected{false, u"Error (exit 1): 25:37: execution error: The variable missingThing is not defined. "
                                  u"(-2753)\n"_s};
    EXPECT_EQ(run(script), expected);
    EXPECT_EQ(execute(script), expected);
    EXPECT_EQ(m_lines, (std::vector{1, 2}));
}

TEST_F(RealOsascript, ASyntaxErrorAfterAnEmojiIsWhereTheScriptAsWrittenHasIt) {
    const auto script = u"log \"👍👍\"\nset x to 5 y"_s;
    const Outcome expected{
        false, u"Error (exit 1): 20:21: syntax error: Expected end of line but found identifier. (-2741)\n"_s};
    EXPECT_EQ(run(script), expected);
    EXPECT_EQ(execute(script), expected);
    EXPECT_EQ(m_lines, std::vector<int>()) << "nothing of it ran";
}

TEST_F(RealOsascript, CancelInADelayLeavesNoProcessBehind) {
    const auto outcome = begin(u"log \"begun\"\n"_s + tellId() + u"\ndelay 600"_s);
    ASSERT_TRUE(reaches(3));
    const auto pid = id();
    EXPECT_TRUE(isAlive(pid));
    m_run->cancel();
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Error (exit 15): begun\n"_s}));
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(RealOsascript, CancelInAShellScriptLeavesNoProcessBehind) {
    const auto busy = u"do shell script \"sleep 600 & echo $! > '%1'; echo $$ > '%2'; wait; true\""_s.arg(
        m_scratch.path(u"child"_s), m_scratch.path(u"shell"_s));
    const auto outcome = begin(tellId() + u'\n' + busy);
    const auto shell = pidIn(m_scratch.path(u"shell"_s)), child = pidIn(m_scratch.path(u"child"_s)), pid = id();
    ASSERT_TRUE(isAlive(shell) && isAlive(child) && isAlive(pid));
    m_run->cancel();
    ASSERT_TRUE(test::waitUntil([&] { return outcome->has_value(); }));
    EXPECT_EQ(**outcome, (Outcome{false, u"Error (exit 15): \n"_s}));
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(pid) && !isAlive(shell) && !isAlive(child); }));
}
