#include "platform/linux/Detached.h"

#include "platform/Workspace.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

#include <sys/wait.h>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::pidIn;

TEST(Detached, RunsOutsideOurSessionInTheOwnersHome) {
    const test::Scratch scratch;
    const test::Variable home("HOME", scratch.directory().toUtf8());
    ASSERT_TRUE(startDetached({u"sh"_s, u"-c"_s, u"pwd >where; echo $$ >pid; exec sleep 1000"_s}));
    const auto pid = pid_t(pidIn(scratch.path(u"pid"_s)));
    ASSERT_GT(pid, 0);
    EXPECT_NE(::getsid(pid), ::getsid(0));
    EXPECT_NE(::getpgid(pid), ::getpgid(0));
    EXPECT_EQ(test::contents(scratch.path(u"where"_s)).trimmed(), scratch.directory().toUtf8());
    EXPECT_EQ(QFile::symLinkTarget(u"/proc/%1/fd/0"_s.arg(pid)), u"/dev/null"_s);
    EXPECT_FALSE(QFile::exists(u"/proc/%1/fd/3"_s.arg(pid))) << "a file of ours is open in it";
    ::kill(pid, SIGKILL);
}

TEST(Detached, WhatCannotBeStartedIsSaid) {
    const auto missing = startDetached({u"no-such-program-anywhere"_s});
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, ENOENT);
    EXPECT_TRUE(missing.error().description.contains(u"no-such-program-anywhere"_s));
    const test::Scratch scratch;
    const auto garbage = scratch.write(u"garbage"_s,
                                       "\x7f"
                                       "ELFnot",
                                       QFile::ExeOwner);
    const auto refused = startDetached({garbage});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, ENOEXEC);
}

TEST(Detached, LeavesNoDescriptorAndNoChildBehind) {
    const auto before = test::openDescriptors();
    for (int start = 0; start < 20; ++start)
        ASSERT_TRUE(startDetached({u"true"_s}));
    EXPECT_EQ(test::openDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(Workspace, ACommandFileRunsInTheTerminal) {
    const test::Scratch scratch;
    scratch.script(u"x-terminal-emulator"_s, "shift; exec \"$@\"");
    const auto file = scratch.script(u"a b.command"_s, "echo $$ >\"$(dirname \"$0\")/pid\"");
    const test::Variable path("PATH", scratch.directory().toUtf8() + ":" + qgetenv("PATH"));
    ASSERT_TRUE(openInTerminal(file));
    EXPECT_GT(pidIn(scratch.path(u"pid"_s)), 0);
}

TEST(Workspace, WithoutATerminalTheCommandToTypeIsSaid) {
    const test::Scratch scratch;
    const test::Variable path("PATH", scratch.directory().toUtf8());
    const auto opened = openInTerminal(u"/x/y z.command"_s);
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().description, u"No terminal is installed. Type this in one: \"/x/y z.command\""_s);
}
