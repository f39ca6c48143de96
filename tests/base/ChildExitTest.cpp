#include "base/ChildExit.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

bool readable(const Descriptor &descriptor, int milliseconds = 0) {
    pollfd entry{.fd = descriptor.number(), .events = POLLIN, .revents = 0};
    return ::poll(&entry, 1, milliseconds) == 1;
}

// A child that waits until it is killed.
pid_t waitingChild() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::pause();
        ::_exit(0);
    }
    return child;
}

} // namespace

TEST(ChildExit, IsReadableOnceTheChildHasEndedAndLeavesTheWaitingToItsCaller) {
    const pid_t child = waitingChild();
    ASSERT_GT(child, 0);
    const auto exit = watchExit(child, u"child"_s);
    ASSERT_TRUE(exit);
    EXPECT_FALSE(readable(*exit));
    ::kill(child, SIGKILL);
    EXPECT_TRUE(readable(*exit, 10'000));
    EXPECT_TRUE(readable(*exit)) << "it stays so";
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, WNOHANG), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(ChildExit, AChildThatHasEndedAlreadyIsSeenToo) {
    const pid_t child = waitingChild();
    ASSERT_GT(child, 0);
    ::kill(child, SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    const auto exit = watchExit(child, u"child"_s);
    ASSERT_TRUE(exit);
    EXPECT_TRUE(readable(*exit));
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST(ChildExit, IsWaitedForUntilTheLimit) {
    const pid_t child = waitingChild();
    ASSERT_GT(child, 0);
    const auto exit = watchExit(child, u"child"_s);
    ASSERT_TRUE(exit);
    EXPECT_FALSE(endsWithin(*exit, std::chrono::milliseconds(20)));
    ::kill(child, SIGKILL);
    EXPECT_TRUE(endsWithin(*exit, std::chrono::minutes(1)));
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(endsWithin(*exit, std::chrono::milliseconds(0)));
}

TEST(ChildExit, WhatIsNoProcessIsAFailureThatNamesTheProgram) {
    const pid_t child = waitingChild();
    ASSERT_GT(child, 0);
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    const auto exit = watchExit(child, u"/bin/gone"_s);
    ASSERT_FALSE(exit);
    EXPECT_EQ(exit.error().domain, u"process"_s);
    EXPECT_EQ(exit.error().code, ESRCH);
    EXPECT_TRUE(exit.error().description.startsWith(u"watching /bin/gone: "_s));
}
