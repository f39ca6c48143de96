#include "platform/linux/system/Detached.h"

#include "base/Descriptor.h"
#include "base/OpenFiles.h"
#include "platform/Workspace.h"
#include "platform/linux/system/ShellWord.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class Detached : public testing::Test {
protected:
    // Starts a script that writes its process id into the file "pid" once it has done the rest, and gives that id.
    qint64 start(const QByteArray &body, const QString &directory = {}) {
        const auto path = m_scratch.script(u"script"_s, body + "\necho $$ > '" + file("pid") + "'; exec sleep 600");
        EXPECT_TRUE(startDetached({path}, directory));
        m_pid = pidIn(m_scratch.path(u"pid"_s));
        return m_pid;
    }
    QByteArray file(const char *name) const { return m_scratch.path(QString::fromLatin1(name)).toUtf8(); }
    QByteArray written(const char *name) const { return contents(m_scratch.path(QString::fromLatin1(name))).trimmed(); }

    void TearDown() override {
        if (m_pid > 0)
            ::kill(static_cast<pid_t>(m_pid), SIGKILL);
    }

    Scratch m_scratch;
    qint64 m_pid = -1;
};

pid_t parentOf(qint64 pid) {
    const auto stat = contents(u"/proc/%1/stat"_s.arg(pid));
    return stat.mid(stat.lastIndexOf(')') + 4).split(' ').value(0).toInt();
}

} // namespace

TEST_F(Detached, LivesInASessionOfItsOwnAndIsNotOurChild) {
    const auto pid = static_cast<pid_t>(start("true"));
    ASSERT_GT(pid, 0);
    EXPECT_EQ(::getsid(pid), pid);
    EXPECT_EQ(::getpgid(pid), pid);
    EXPECT_NE(parentOf(pid), ::getpid());
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1);
}

TEST_F(Detached, OutlivesTheGroupThatStartedIt) {
    const auto script = m_scratch.script(u"script"_s, "echo $$ > '" + file("pid") + "'; exec sleep 600");
    const pid_t starter = ::fork();
    if (starter == 0) {
        ::setpgid(0, 0);
        startDetached({script});
        ::pause();
        ::_exit(0);
    }
    m_pid = pidIn(m_scratch.path(u"pid"_s));
    ASSERT_GT(m_pid, 0);
    ASSERT_EQ(::kill(-starter, SIGKILL), 0);
    ASSERT_EQ(::waitpid(starter, nullptr, 0), starter);
    EXPECT_TRUE(isAlive(m_pid));
}

TEST_F(Detached, HasNullStreamsNoOtherFilesAndTheOwnersHome) {
    const Descriptor open(::dup(STDERR_FILENO));
    const auto pid = start("pwd > '" + file("directory") + "'");
    for (const QString &stream : {u"0"_s, u"1"_s, u"2"_s})
        EXPECT_EQ(QFile::symLinkTarget(u"/proc/%1/fd/"_s.arg(pid) + stream), u"/dev/null"_s);
    const bool only =
        waitUntil([&] { return QDir(u"/proc/%1/fd"_s.arg(pid)).entryList(QDir::Files | QDir::System).size() == 3; });
    EXPECT_TRUE(only);
    EXPECT_EQ(QString::fromUtf8(written("directory")), QDir(QDir::homePath()).canonicalPath());
}

TEST_F(Detached, MayOpenNoMoreFilesThanUsualWhereThisProcessMayOpenMany) {
    const DescriptorLimit few(1000);
    allowManyFiles();
    start("ulimit -n > '" + file("files") + "'");
    EXPECT_EQ(written("files"), "1000");
}

TEST_F(Detached, IsMarkedAsTheOwnersAndHasTheOtherVariables) {
    const test::Variable keeper("OMBRU_KEEPER", "a word");
    const auto pid = start("true");
    QByteArrayList variables; // none while it becomes another program
    EXPECT_TRUE(waitUntil([&] {
        variables = contents(u"/proc/%1/environ"_s.arg(pid)).split('\0');
        return variables.contains("OMBRU_OPENED=a word");
    }));
    EXPECT_FALSE(variables.contains("OMBRU_KEEPER=a word")) << "what it starts is no script's";
    EXPECT_TRUE(variables.contains("HOME=" + qgetenv("HOME")));
}

TEST_F(Detached, StartsInTheDirectoryThatIsGiven) {
    start("pwd > '" + file("directory") + "'", m_scratch.directory());
    EXPECT_EQ(QString::fromUtf8(written("directory")), QDir(m_scratch.directory()).canonicalPath());
}

TEST_F(Detached, HasDefaultSignalHandling) {
    ::signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto pid = start("true");
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::signal(SIGUSR1, SIG_DFL);
    const auto status = contents(u"/proc/%1/status"_s.arg(pid));
    EXPECT_TRUE(status.contains("SigBlk:\t0000000000000000")) << status.toStdString();
    EXPECT_TRUE(status.contains("SigIgn:\t0000000000000000")) << status.toStdString();
}

TEST_F(Detached, PassesArgumentsAsTheyAre) {
    const auto path = m_scratch.script(u"script"_s, "printf '%s|' \"$@\" > '" + file("arguments") + "'; echo $$ > '" +
                                                        file("pid") + "'");
    ASSERT_TRUE(startDetached({path, u""_s, u"a b"_s, u"$HOME"_s, u"жёлтый"_s}));
    ASSERT_GT(pidIn(m_scratch.path(u"pid"_s)), 0);
    EXPECT_EQ(written("arguments"), "|a b|$HOME|жёлтый|");
}

TEST_F(Detached, SearchesPathForAName) {
    m_scratch.script(u"some-program"_s, "echo $$ > '" + file("pid") + "'");
    const Variable path("PATH", m_scratch.directory().toUtf8() + ":/usr/bin:/bin");
    ASSERT_TRUE(startDetached({u"some-program"_s}));
    EXPECT_GT(pidIn(m_scratch.path(u"pid"_s)), 0);
}

TEST_F(Detached, ReportsAStartThatFails) {
    const auto missing = startDetached({u"/no/such/program"_s});
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, ENOENT);
    EXPECT_EQ(missing.error().description, u"/no/such/program: No such file or directory"_s);

    const auto unknown = startDetached({u"no-such-program-anywhere"_s});
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().code, ENOENT);

    const auto plain = startDetached({m_scratch.write(u"plain"_s, "text")});
    ASSERT_FALSE(plain);
    EXPECT_EQ(plain.error().code, EACCES);

    const auto nowhere = startDetached({u"/bin/true"_s}, u"/no/such/directory"_s);
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.error().code, ENOENT);

    EXPECT_FALSE(startDetached({}));
}

TEST_F(Detached, LeavesNoDescriptorsOpen) {
    const auto before = openDescriptors();
    ASSERT_TRUE(startDetached({u"/bin/true"_s}));
    ASSERT_FALSE(startDetached({u"/no/such/program"_s}));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Detached, LeavesNoChildBehind) {
    for (int start = 0; start < 20; ++start)
        ASSERT_TRUE(startDetached({u"true"_s}));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

class OpenInTerminal : public Detached {
protected:
    Variable m_display{"DISPLAY", ":0"};
    Variable m_path{"PATH", m_scratch.directory().toUtf8()};
};

TEST_F(OpenInTerminal, RunsTheFileInTheDesktopsTerminal) {
    m_scratch.script(u"xterm"_s, "exit 1");
    m_scratch.script(u"x-terminal-emulator"_s,
                     "printf '%s|' \"$@\" > '" + file("arguments") + "'; echo $$ > '" + file("pid") + "'");
    ASSERT_TRUE(openInTerminal(m_scratch.path(u"a b.command"_s)));
    ASSERT_GT(pidIn(m_scratch.path(u"pid"_s)), 0);
    EXPECT_EQ(written("arguments"), "-e|" + file("a b.command.window") + '|');
}

TEST_F(OpenInTerminal, TakesTheFirstKnownOneThatIsInstalled) {
    m_scratch.script(u"xfce4-terminal"_s,
                     "printf '%s|' \"$@\" > '" + file("arguments") + "'; echo $$ > '" + file("pid") + "'");
    ASSERT_TRUE(openInTerminal(m_scratch.path(u"a.command"_s)));
    ASSERT_GT(pidIn(m_scratch.path(u"pid"_s)), 0);
    EXPECT_EQ(written("arguments"), "-x|" + file("a.command.window") + '|');
}

// Of two lines that are typed the first is the one it waits for.
TEST_F(OpenInTerminal, TheWindowStaysUntilItsOwnerHasReadHowItEnded) {
    ASSERT_EQ(::mkfifo(file("keys").constData(), S_IRUSR | S_IWUSR), 0);
    m_scratch.script(u"xterm"_s, "{ \"$2\" >'" + file("said") + "'; read -r next; echo \"$next\" >'" + file("next") +
                                     "'; echo $$ >'" + file("pid") + "'; } <'" + file("keys") + "'");
    ASSERT_TRUE(openInTerminal(m_scratch.script(u"it's.command"_s, "echo begun; false | true || exit 1; echo done")));
    const Descriptor keys(::open(file("keys").constData(), O_RDWR | O_CLOEXEC)); // waits for no reader
    ASSERT_EQ(::write(keys.number(), "one\ntwo\n", 8), 8);
    ASSERT_GT(pidIn(m_scratch.path(u"pid"_s)), 0);
    EXPECT_EQ(written("said"), "begun") << "what failed in a pipe ended it";
    EXPECT_EQ(written("next"), "two");
}

TEST_F(OpenInTerminal, WhereTheWindowsFileCannotBeWrittenSaysWhatToType) {
    m_scratch.script(u"xterm"_s, "exit 0");
    const auto opened = openInTerminal(m_scratch.path(u"none/a.command"_s));
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error().description.endsWith(u" Type this in a terminal: "_s +
                                                    forShell(m_scratch.path(u"none/a.command"_s))));
}

TEST_F(OpenInTerminal, WithoutATerminalSaysWhatToType) {
    const auto opened = openInTerminal(u"/tmp/it's here.command"_s);
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().description,
              u"No terminal is installed. Type this in a terminal: '/tmp/it'\\''s here.command'"_s);
}

TEST_F(OpenInTerminal, WithoutADisplaySaysWhatToType) {
    m_scratch.script(u"xterm"_s, "exit 0");
    const Variable none("DISPLAY");
    const Variable noneEither("WAYLAND_DISPLAY");
    const auto opened = openInTerminal(u"/tmp/a.command"_s);
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().description,
              u"There is no display to open a terminal on. Type this in a terminal: '/tmp/a.command'"_s);
}
