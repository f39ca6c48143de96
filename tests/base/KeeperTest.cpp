// Processes that are started through the keeper.
#include "base/Family.h"
#include "base/Keeping.h"
#include "base/OpenFiles.h"
#include "tests/base/ProcessRuns.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/RefusedCall.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class Keeper : public testing::Test {
protected:
    void SetUp() override { Process::setKeeper(program()); }
    void TearDown() override {
        Process::setKeeper({});
        endMarked(MARK);
    }

    static QString program() { return qEnvironmentVariable("OMBRU_BIN") + u"/ombru-keeper"_s; }

    // A script whose processes are found by their mark; it notes its number in the file "ready".
    Process::Command marked(const QString &script) const {
        auto command = shell(script);
        command.environment = ownEnvironment();
        command.environment->insert_or_assign(MARK.split('=')[0], MARK.split('=')[1]);
        command.directory = m_scratch.directory();
        return command;
    }
    // Started, and so far that it has written "ready".
    std::shared_ptr<Process> start(const Process::Command &command) {
        const auto process = Process::make(command);
        const auto started = process->start();
        EXPECT_TRUE(started) << started.error().description.toStdString();
        EXPECT_GT(ready(), 0);
        return process;
    }
    qint64 ready() const { return pidIn(m_scratch.path(u"ready"_s)); }

    static bool nothingIsLeft() {
        return waitUntil([] { return processesMarked(MARK).isEmpty(); });
    }

    static const QByteArray MARK;
    // What gets out of the reach of groups, sessions and parents.
    const QString m_escape =
        u"timeout 300 sleep 338 | cat & setsid sleep 338 & (nohup setsid sh -c 'sleep 338 & sleep 338' "
        "> nohup.out 2>&1 &); echo $$ > ready.new; mv ready.new ready; "_s;
    Scratch m_scratch;
};

const QByteArray Keeper::MARK = "OMBRU_TEST_FAMILY=" + QByteArray::number(::getpid());

} // namespace

TEST_F(Keeper, LetsTheProgramOpenNoMoreFilesThanUsualWhereThisProcessMayOpenMany) {
    const DescriptorLimit few(1000);
    EXPECT_EQ(run(shell(u"ulimit -n"_s)).out, "1000\n");
    allowManyFiles();
    rlimit own{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &own), 0);
    EXPECT_EQ(own.rlim_cur, std::min<rlim_t>(own.rlim_max, 65'536));
    EXPECT_EQ(run(shell(u"ulimit -n"_s)).out, "1000\n");
}

TEST_F(Keeper, PassesStreamsStatusAndSignalOn) {
    const auto result = run(shell(u"echo out; echo err >&2; exit 7"_s));
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "err\n");
    EXPECT_EQ(run(shell(u"kill -SEGV $$"_s)).status, SIGSEGV);
    EXPECT_EQ(run(shell(u"kill -KILL $$"_s)).status, SIGKILL);
}

TEST_F(Keeper, PassesWhatIsInheritedOn) {
    auto pipe = makePipe();
    ASSERT_TRUE(pipe);
    auto command = shell(u"echo through >&3; ls /proc/$$/fd"_s);
    command.inherited = {pipe->writing.number()};
    EXPECT_EQ(run(command).out.split('\n').join(' '), "0 1 2 3 ");
    std::array<char, 16> text{};
    EXPECT_EQ(QByteArray(text.data(), ::read(pipe->reading.number(), text.data(), text.size())), "through\n");
}

TEST_F(Keeper, AProgramThatCannotBeStartedIsTheSameFailureAsWithoutIt) {
    const Failure missing{u"process"_s, ENOENT, u"/no/such/program: No such file or directory"_s};
    EXPECT_EQ(failedStart({.program = u"/no/such/program"_s}), missing);
    EXPECT_EQ(failedStart({.program = m_scratch.write(u"garbage"_s, "touch x\n", QFile::ExeOwner)}).code, ENOEXEC);
    const auto tooLong = failedStart({.program = u"/bin/echo"_s, .arguments = {QString(3'000'000, u'x')}});
    EXPECT_EQ(tooLong.code, E2BIG);
    EXPECT_TRUE(tooLong.description.startsWith(u"/bin/echo: "_s));
    EXPECT_EQ(contents(u"/proc/self/task/%1/children"_s.arg(QCoreApplication::applicationPid())), "");
}

TEST_F(Keeper, TheChildHasDefaultSignalsAndASessionOfItsOwn) {
    const auto result = run(shell(u"grep -E 'Sig(Blk|Ign)' /proc/self/status; cut -d' ' -f1,6 /proc/$$/stat"_s));
    const auto lines = result.out.split('\n');
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "SigBlk:\t0000000000000000");
    constexpr qulonglong INTERNAL = 0x180000000; // the C library's own
    EXPECT_EQ(lines[1].split('\t').last().toULongLong(nullptr, 16) & ~INTERNAL, 0u) << lines[1].toStdString();
    EXPECT_EQ(lines[2].split(' ')[0], lines[2].split(' ')[1]);
}

TEST_F(Keeper, TerminateEndsAlsoWhatHasLeftGroupSessionAndParent) {
    const auto process = start(marked(m_escape + u"sleep 338"_s));
    ASSERT_GE(processesMarked(MARK).size(), 6);
    process->terminate();
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_EQ(processesMarked(MARK), QList<qint64>()) << "gone by the time that the end is told";
}

TEST_F(Keeper, WhoWillNotBeAskedIsKilledAfterTheGrace) {
    auto command =
        marked(u"trap '' TERM; (trap '' TERM; setsid sleep 338) & "_s + m_escape + u"while :; do sleep 1; done"_s);
    command.grace = 50ms;
    const auto process = start(command);
    process->terminate();
    EXPECT_EQ(end(process).status, SIGKILL);
    EXPECT_EQ(processesMarked(MARK), QList<qint64>());
}

TEST_F(Keeper, AProgramThatIsAskedMayTidyUp) {
    auto command = marked(u"trap 'echo tidy; exit 6' TERM; echo $$ > ready; while :; do sleep 0.05; done"_s);
    command.grace = 1h;
    const auto process = start(command);
    process->terminate();
    const auto result = end(process);
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.out, "tidy\n");
}

TEST_F(Keeper, WhoStartsOthersWithoutEndIsEnded) {
    auto command = marked(u"echo $$ > ready; while :; do (trap '' TERM; setsid sleep 338 &); done"_s);
    command.grace = 20ms;
    const auto process = start(command);
    ASSERT_TRUE(waitUntil([] { return processesMarked(MARK).size() > 20; }));
    process->terminate();
    end(process);
    EXPECT_EQ(processesMarked(MARK), QList<qint64>());
}

TEST_F(Keeper, WhatAChildThatEndedByItselfLeftStaysAndIsNamed) {
    const auto process =
        start(marked(u"sleep 338 & until grep -q sleep /proc/$!/comm; do :; done; echo $! > ready; exit 3"_s));
    EXPECT_EQ(end(process).status, 3);
    EXPECT_EQ(process->left(), QStringList{u"sleep (%1)"_s.arg(ready())});
    EXPECT_TRUE(isAlive(ready()));
    process->terminate();
    settle();
    EXPECT_TRUE(isAlive(ready()));
}

TEST_F(Keeper, AChildThatWasKilledLeavesNothing) {
    const auto process = start(marked(m_escape + u"kill -KILL $$"_s));
    EXPECT_EQ(end(process).status, SIGKILL);
    EXPECT_EQ(processesMarked(MARK), QList<qint64>());
}

TEST_F(Keeper, WhatWasOpenedForTheOwnerStays) {
    const auto process = start(
        marked(u"OMBRU_OPENED=$OMBRU_KEEPER setsid sh -c 'setsid sleep 338 & wait' & "_s + m_escape + u"sleep 338"_s));
    process->terminate();
    end(process);
    EXPECT_EQ(processesMarked(MARK).size(), 2);
}

TEST_F(Keeper, DoesNotHearTheTerminalsSignals) {
    EXPECT_EQ(run(shell(u"for signal in INT QUIT HUP; do kill -$signal $PPID; done; exit 5"_s)).status, 5);
}

TEST_F(Keeper, EndsAllWhenWhoeverHasItKeptIsKilledByWhateverSignal) {
    for (const int signal : {SIGKILL, SIGQUIT, SIGABRT, SIGTERM}) {
        QFile::remove(m_scratch.path(u"ready"_s));
        const auto command = marked(m_escape + u"trap '' HUP; sleep 338"_s);
        const pid_t owner = ::fork();
        if (owner == 0) {
            std::signal(SIGQUIT, SIG_DFL);
            const auto kept =
                spawnKept(program(), {}, {command.program, command.arguments, command.directory, command.environment});
            while (kept)
                ::pause();
            ::_exit(1);
        }
        ASSERT_GT(ready(), 0);
        ::kill(owner, signal);
        ASSERT_EQ(::waitpid(owner, nullptr, 0), owner);
        EXPECT_TRUE(nothingIsLeft()) << signal;
    }
}

TEST_F(Keeper, AKilledKeeperLeavesNothingOfItsSession) {
    const auto process = start(marked(u"timeout 300 sleep 338 & echo $PPID > ready; sleep 338"_s));
    ::kill(static_cast<pid_t>(ready()), SIGKILL);
    EXPECT_EQ(end(process).status, SIGKILL);
    EXPECT_EQ(processesMarked(MARK), QList<qint64>());
}

TEST_F(Keeper, AStoppedKeeperHearsTheRequest) {
    const auto process = start(marked(u"echo $PPID > ready; sleep 338"_s));
    ::kill(static_cast<pid_t>(ready()), SIGSTOP);
    process->terminate();
    EXPECT_EQ(end(process).status, SIGTERM);
}

TEST_F(Keeper, WhoPrintsTooMuchIsAskedFirst) {
    auto command = marked(u"trap 'touch asked; exit 0' TERM; echo $$ > ready; while :; do echo too much; done"_s);
    command.outputLimit = MEGABYTE;
    const auto process = start(command);
    end(process);
    EXPECT_TRUE(process->overflowed());
    EXPECT_TRUE(QFile::exists(m_scratch.path(u"asked"_s)));
}

TEST_F(Keeper, AllCanBeEndedAtOnceAndAreAskedFirst) {
    const auto process =
        start(marked(u"trap 'touch asked; exit 0' TERM; "_s + m_escape + u"while :; do sleep 0.05; done"_s));
    Process::killAll();
    EXPECT_TRUE(QFile::exists(m_scratch.path(u"asked"_s)));
    EXPECT_EQ(processesMarked(MARK), QList<qint64>()) << "nobody waits after this";
    end(process);
}

TEST_F(Keeper, AChildThatIsDroppedIsEndedWithAllThatIsIts) {
    auto process = start(marked(m_escape + u"sleep 338"_s));
    process.reset();
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(Keeper, OnlyAForcedEndIsFollowedByTheProgramForThat) {
    const auto followed = [this](const QString &script, bool terminated) {
        QFile::remove(m_scratch.path(u"followed"_s));
        QFile::remove(m_scratch.path(u"go"_s));
        auto command = marked(u"echo $PPID > ready; while [ ! -e go ]; do sleep 0.01; done; "_s + script);
        command.afterForcedEnd =
            m_scratch.script(u"follow"_s, "touch '" + m_scratch.path(u"followed"_s).toUtf8() + "'");
        const auto process = start(command);
        m_scratch.write(u"go"_s, {});
        if (terminated)
            process->terminate();
        end(process);
        return QFile::exists(m_scratch.path(u"followed"_s));
    };
    EXPECT_FALSE(followed(u"exit 1"_s, false));
    EXPECT_TRUE(followed(u"kill -KILL $$"_s, false));
    EXPECT_TRUE(followed(u"sleep 338"_s, true));
    EXPECT_TRUE(followed(u"kill -KILL $PPID; sleep 338"_s, false)) << "also when the keeper was killed";
}

TEST_F(Keeper, WhatFollowsAForcedEndMayTakeLongerThanTheKeeper) {
    auto command = marked(u"echo $$ > ready.new; mv ready.new ready; sleep 338"_s);
    command.afterForcedEnd =
        m_scratch.script(u"follow"_s, "cd '" + m_scratch.directory().toUtf8() +
                                          "'; while [ ! -e go ]; do sleep 0.05; done; touch followed");
    const auto process = start(command);
    process->terminate();
    await(process->ended());
    EXPECT_FALSE(QFile::exists(m_scratch.path(u"followed"_s)));
    m_scratch.write(u"go"_s, {});
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(m_scratch.path(u"followed"_s)); }));
}

TEST_F(Keeper, EndsWhoseFirstThreadHasEndedToo) {
    const auto helper = qEnvironmentVariable("OMBRU_BIN") + u"/../tests/first-thread-ends"_s;
    const auto process =
        start(marked(u"setsid '"_s + helper + u"' second & echo $$ > ready.new; mv ready.new ready; sleep 338"_s));
    const auto second = pidIn(m_scratch.path(u"second"_s));
    ASSERT_GT(second, 0);
    process->terminate();
    await(process->ended());
    EXPECT_NE(::kill(pid_t(second), 0), 0) << "it is left";
}

namespace {

// A child that ends when it is killed, and not before.
pid_t deafChild() {
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    std::signal(SIGTERM, SIG_IGN);
    for (;;)
        ::pause();
}

// Whether the child is killed when its family is to end at once.
bool endsByForce(pid_t child) {
    Family::ofProcess(child).end([now = std::chrono::steady_clock::now()] { return now; });
    int status = 0;
    return ::waitpid(child, &status, WNOHANG) == child && WIFSIGNALED(status);
}

} // namespace

TEST(Family, IsEndedAlsoWhereNoProcessCanBeHeldByADescriptor) {
    const pid_t child = deafChild();
    withoutCall(SYS_pidfd_open, EMFILE, [child] { EXPECT_TRUE(endsByForce(child)); });
}

TEST(Family, IsEndedAlsoWithTheLastDescriptor) {
    const pid_t child = deafChild();
    const int free = ::dup(STDIN_FILENO);
    ::close(free);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit oneMore{rlim_t(free) + 1, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &oneMore), 0);
    EXPECT_TRUE(endsByForce(child));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST_F(Keeper, WhatCannotBeEndedIsNamed) {
    const auto command = marked(u"echo $$ > ready.new; mv ready.new ready; exec sleep 338"_s);
    std::optional<QStringList> left;
    withoutCall(SYS_kill, EPERM, [&] {
        withoutCall(SYS_pidfd_send_signal, EPERM, [&] { // as of another user's process
            const auto kept =
                spawnKept(program(), {}, {command.program, command.arguments, command.directory, command.environment});
            ASSERT_TRUE(kept);
            ASSERT_GT(ready(), 0);
            endKept(*kept, 0ms);
            ::waitpid(kept->keeper, nullptr, 0);
            left = leftByKept(*kept);
        });
    });
    EXPECT_EQ(left, QStringList{u"sleep (%1)"_s.arg(ready())});
}

namespace {

// One that forks and ends again and again, each time that it is told to.
class Hopper {
public:
    explicit Hopper(const QString &directory) {
        for (const auto &[name, descriptor] : {std::pair{u"/steps"_s, &m_steps}, std::pair{u"/hops"_s, &m_hops}}) {
            const auto path = QFile::encodeName(directory + name);
            EXPECT_EQ(::mkfifo(path.constData(), 0600), 0);
            *descriptor = Descriptor(::open(path.constData(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
        }
    }
    // In the shell.
    static QString command(int hops) {
        return u"'%1/../tests/forks-and-ends' %2 survived <steps >hops"_s.arg(qEnvironmentVariable("OMBRU_BIN"))
            .arg(hops);
    }
    // Has it hop, unless it has ended or is stopped: then it will as soon as it goes on.
    void hop(const QByteArray &mark) {
        char step = '.';
        while (::read(m_hops.number(), &step, 1) == 1) {
        }
        [[maybe_unused]] const auto told = ::write(m_steps.number(), &step, 1);
        while (::read(m_hops.number(), &step, 1) != 1 && goesOn(mark))
            std::this_thread::yield();
    }

private:
    static bool goesOn(const QByteArray &mark) {
        return std::ranges::any_of(processesMarked(mark), [](qint64 pid) {
            const auto stat = contents(u"/proc/%1/stat"_s.arg(pid));
            return stat.contains("(forks-and-ends)") && !stat.contains(") T ");
        });
    }

    Descriptor m_steps;
    Descriptor m_hops;
};

} // namespace

// Of each one that a look has met, only its child is there when it is signalled.
TEST_F(Keeper, CatchesOneThatForksAndEndsAtOnce) {
    constexpr int HOPS = 200;
    Hopper hopper(m_scratch.directory());
    const auto command = marked(u"setsid "_s + Hopper::command(HOPS) +
                                u" & until grep -q forks /proc/$!/comm; do :; done; echo $$ > ready.new; "
                                "mv ready.new ready; sleep 338"_s);
    const auto hop = [&] { hopper.hop(MARK); };
    aheadOfCalls({SYS_kill, SYS_pidfd_send_signal}, hop, [&] {
        const auto kept =
            spawnKept(program(), {}, {command.program, command.arguments, command.directory, command.environment});
        ASSERT_TRUE(kept);
        ASSERT_GT(ready(), 0);
        hop();
        endKept(*kept, 0ms);
        ::waitpid(kept->keeper, nullptr, 0);
    });
    EXPECT_EQ(processesMarked(MARK), QList<qint64>());
    EXPECT_FALSE(QFile::exists(m_scratch.path(u"survived"_s)));
}

// A process of its own session that asks for no other than itself, over and over, and ends each time.
TEST_F(Keeper, MeetsOneThatForksAndEndsAgainAndAgain) {
    const auto process = start(marked(u"echo $$ > ready.new; mv ready.new ready; "
                                      "setsid sh -c 'trap \"\" TERM; f() { [ $1 -gt 0 ] && { printf . >>hops; f "
                                      "$(($1 - 1)) & }; }; f 200' & sleep 338"_s));
    ASSERT_TRUE(waitUntil([&] { return QFileInfo(m_scratch.path(u"hops"_s)).size() > 20; }));
    process->terminate();
    await(process->ended());
    const auto hops = QFileInfo(m_scratch.path(u"hops"_s)).size();
    run(shell(u"sleep 0.2"_s));
    QFileInfo later(m_scratch.path(u"hops"_s));
    EXPECT_EQ(later.size(), hops) << "it goes on";
}
