#include "base/Helper.h"

#include "tests/support/Processes.h"

#include <cerrno>
#include <sys/wait.h>
#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QByteArray LONG_TEXT(3 << 20, 'x'); // more than any pipe holds

class Helper : public testing::Test {
protected:
    HelperCall shell(const QByteArray &script) const { return {.program = m_scratch.script(u"helper"_s, script)}; }
    // One that works for ever, and leaves its number in the file "pid".
    HelperCall hanging() const {
        return shell("echo $$ >'" + m_scratch.path(u"pid"_s).toUtf8() + "'; exec sleep 1000");
    }
    Scratch m_scratch;
};

// Nothing of it is left, not even its status: this process has no child.
bool isGone() {
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

int codeOf(const Result<HelperAnswer> &answer) {
    return answer ? 0 : answer.error().code;
}

} // namespace

TEST_F(Helper, IsGivenItsInputAndHeardUntilItEnds) {
    auto call = shell("echo \"$1\"; cat; echo trouble >&2; exit 7");
    call.arguments = {u"word"_s};
    call.input = "in";
    const auto answer = callHelper(call);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "word\nin");
    EXPECT_EQ(answer->errors, "trouble\n");
    EXPECT_EQ(answer->status, 7);
}

TEST_F(Helper, MoreThanPipesHoldGoesBothWays) {
    auto call = shell("cat");
    call.input = LONG_TEXT;
    const auto answer = callHelper(call);
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->output == LONG_TEXT);
}

TEST_F(Helper, NeedNotReadItsInput) {
    auto call = shell("exec <&-; echo done");
    call.input = LONG_TEXT;
    const auto answer = callHelper(call);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "done\n");
}

TEST_F(Helper, ThatIsKilledSaysBySignalAndWhatItWroteBefore) {
    const auto answer = callHelper(shell("echo half; kill -9 $$"));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 128 + SIGKILL);
    EXPECT_EQ(answer->output, "half\n");
}

TEST_F(Helper, ThatIsNotThereIsAFailureThatNamesIt) {
    const auto answer = callHelper({.program = u"/nonexistent/helper"_s});
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().code, ENOENT);
    EXPECT_TRUE(answer.error().description.contains(u"/nonexistent/helper"_s));
}

TEST_F(Helper, ThatTakesTooLongIsKilledAndNothingIsLeftOfIt) {
    auto call = hanging();
    call.limit = 300ms;
    EXPECT_EQ(codeOf(callHelper(call)), ETIMEDOUT);
    EXPECT_TRUE(isGone());
}

TEST_F(Helper, IsKilledWhenAStopIsAskedFor) {
    std::stop_source stop;
    auto call = hanging();
    call.stop = stop.get_token();
    int code = 0;
    std::jthread calling([&] { code = codeOf(callHelper(call)); });
    pidIn(m_scratch.path(u"pid"_s));
    stop.request_stop();
    calling.join();
    EXPECT_EQ(code, ECANCELED);
    EXPECT_TRUE(isGone());
}

TEST_F(Helper, IsNotStartedAfterAStop) {
    std::stop_source stop;
    stop.request_stop();
    auto call = shell("touch '" + m_scratch.path(u"started"_s).toUtf8() + "'");
    call.stop = stop.get_token();
    EXPECT_EQ(codeOf(callHelper(call)), ECANCELED);
    EXPECT_FALSE(QFile::exists(m_scratch.path(u"started"_s)));
}

TEST_F(Helper, ThatWritesWithoutEndIsKilled) {
    auto call = shell("exec yes");
    call.outputLimit = 1 << 20;
    EXPECT_EQ(codeOf(callHelper(call)), EFBIG);
    EXPECT_TRUE(isGone());
}

TEST_F(Helper, IsNotWaitedForWhenOnlyWhatItLeftHoldsItsOutput) {
    const auto answer = callHelper(shell("sleep 1000 & echo $! >'" + m_scratch.path(u"pid"_s).toUtf8() + "'; echo x"));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "x\n");
    ::kill(static_cast<pid_t>(pidIn(m_scratch.path(u"pid"_s))), SIGKILL);
}

TEST_F(Helper, HasItsStreamsAndTheLifelineOpenAndNothingElse) {
    const Descriptor other(::dup(STDIN_FILENO)); // without the close-on-exec flag
    const auto answer = callHelper({.program = u"/bin/ls"_s, .arguments = {u"/proc/self/fd"_s}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "0\n1\n2\n3\n4\n") << "4 is the directory that it lists";
}

TEST_F(Helper, LeavesNoDescriptorHere) {
    const auto before = openDescriptors();
    for (int time = 0; time < 5; ++time)
        EXPECT_TRUE(callHelper(shell("exit 0")));
    callHelper({.program = u"/nonexistent/helper"_s});
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Helper, SeveralAreHeardAtATime) {
    const auto call = shell("head -c 200000 /dev/zero");
    std::vector<std::jthread> threads;
    std::atomic<int> whole = 0;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&] {
            const auto answer = callHelper(call);
            whole += answer && answer->output.size() == 200'000 ? 1 : 0;
        });
    threads.clear();
    EXPECT_EQ(whole, 8);
}
