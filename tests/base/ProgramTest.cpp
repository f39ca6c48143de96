#include "base/Program.h"

#include "tests/base/ProcessRuns.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/wait.h>

using namespace ombru;
using namespace ombru::test;

namespace {

// How the check ended in a process of its own.
template <class Check>
bool holdsInAProcess(Check check) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(check() ? 0 : 1);
    int status = -1;
    return ::waitpid(child, &status, 0) == child && status == 0;
}

} // namespace

TEST(Program, HearsOfItsChildrensEndsUnderAParentThatIgnoresItsOwn) {
    std::signal(SIGCHLD, SIG_IGN);
    beginProgram();
    EXPECT_EQ(run(shell(u"exit 3"_s)).status, 3);
}

TEST(Program, AReaderThatHasGoneIsAnError) {
    std::signal(SIGPIPE, SIG_DFL);
    beginProgram();
    auto pipe = makePipe();
    ASSERT_TRUE(pipe);
    pipe->reading.close();
    EXPECT_EQ(::write(pipe->writing.number(), "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST(Program, HasTheAccountsHomeWhereNoneIsSet) {
    for (const bool empty : {false, true}) {
        EXPECT_TRUE(holdsInAProcess([empty] {
            empty ? ::setenv("HOME", "", 1) : ::unsetenv("HOME");
            beginProgram();
            const char *home = std::getenv("HOME");
            return home && ::getpwuid(::geteuid())->pw_dir == std::string(home);
        }));
    }
    EXPECT_TRUE(holdsInAProcess([] {
        ::setenv("HOME", "/elsewhere", 1);
        beginProgram();
        return std::getenv("HOME") == std::string("/elsewhere");
    }));
}

TEST(Program, HasStandardStreamsAlsoWhenItWasStartedWithoutThem) {
    EXPECT_TRUE(holdsInAProcess([] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::close(stream);
        beginProgram();
        return ::open("/dev/null", O_RDONLY) > STDERR_FILENO && ::write(STDOUT_FILENO, "x", 1) == 1;
    }));
    EXPECT_TRUE(holdsInAProcess([] {
        ::close(STDOUT_FILENO);
        beginProgram();
        return ::fcntl(STDOUT_FILENO, F_GETFD) == 0;
    }));
}
