#include "base/Lifeline.h"

#include "base/Helper.h"
#include "base/Spawn.h"
#include "tests/support/Processes.h"

#include <array>
#include <cstdlib>
#include <sys/wait.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// A process of its own that does that.
template <class Work>
pid_t inChild(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    return child;
}

// What it ends with; one that does not end is killed.
int statusOf(pid_t child) {
    int status = 0;
    const bool ended = waitUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; });
    EXPECT_TRUE(ended);
    if (!ended)
        ::kill(child, SIGKILL);
    return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(Lifeline, EndsAHelperThatIsBusyWhenItHangsUp) {
    auto pipe = makePipe();
    auto ready = makePipe();
    ASSERT_TRUE(pipe && ready);
    const pid_t child = inChild([&] {
        pipe->writing.close();
        ::dup2(pipe->reading.number(), HELPER_LIFELINE);
        [[maybe_unused]] const auto told = ::write(ready->writing.number(), endWithLifeline() ? "y" : "n", 1);
        while (true)
            ::pause();
    });
    ASSERT_GT(child, 0);
    char word = 0;
    ASSERT_EQ(::read(ready->reading.number(), &word, 1), 1);
    EXPECT_EQ(word, 'y');
    EXPECT_EQ(::waitpid(child, nullptr, WNOHANG), 0) << "it lives as long as the other end is open";
    pipe->writing.close();
    EXPECT_EQ(statusOf(child), EXIT_FAILURE);
}

TEST(Lifeline, GivesAHelperThatHasAFarewellTheTimeToEndByItself) {
    auto pipe = makePipe();
    auto ready = makePipe();
    auto over = makePipe();
    ASSERT_TRUE(pipe && ready && over);
    const auto begin = [&](bool heeds) {
        return inChild([&, heeds] {
            pipe->writing.close();
            ::dup2(pipe->reading.number(), HELPER_LIFELINE);
            endWithLifeline([&] { [[maybe_unused]] const auto told = ::write(over->writing.number(), "o", 1); });
            [[maybe_unused]] const auto told = ::write(ready->writing.number(), "r", 1);
            char word = 0;
            while (heeds && ::read(over->reading.number(), &word, 1) != 1) {
            }
            if (heeds)
                ::_exit(7);
            while (true)
                ::pause();
        });
    };
    const pid_t heeding = begin(true);
    const pid_t busy = begin(false);
    ASSERT_GT(heeding, 0);
    ASSERT_GT(busy, 0);
    std::array<char, 2> words{};
    for (char &word : words)
        ASSERT_EQ(::read(ready->reading.number(), &word, 1), 1);
    pipe->writing.close();
    EXPECT_EQ(statusOf(heeding), 7);
    EXPECT_EQ(statusOf(busy), EXIT_FAILURE) << "after a second";
}

TEST(Lifeline, IsMissedByWhoeverHasNone) {
    const pid_t child = inChild([] {
        ::close(HELPER_LIFELINE);
        ::_exit(endWithLifeline() ? 1 : 0);
    });
    ASSERT_GT(child, 0);
    EXPECT_EQ(statusOf(child), 0);
}

// However it dies.
TEST(Lifeline, HangsUpWhenTheOneThatStartedTheHelperIsKilled) {
    const Scratch scratch;
    const auto helper = scratch.script(u"helper"_s, "cd \"$1\"; echo $$ >pid; cat <&3; echo $$ >ended");
    const pid_t starter = inChild([&] { callHelper({.program = helper, .arguments = {scratch.directory()}}); });
    ASSERT_GT(starter, 0);
    const auto pid = pidIn(scratch.path(u"pid"_s));
    EXPECT_FALSE(QFile::exists(scratch.path(u"ended"_s)));
    ::kill(starter, SIGKILL);
    ASSERT_EQ(::waitpid(starter, nullptr, 0), starter);
    EXPECT_EQ(pidIn(scratch.path(u"ended"_s)), pid);
}
