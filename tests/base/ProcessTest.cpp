#include "tests/base/ProcessRuns.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

TEST(Process, GivesStatusAndBothStreams) {
    const auto result = run(shell(u"echo out; echo err >&2; exit 7"_s));
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "err\n");
}

TEST(Process, PassesArgumentsAsTheyAre) {
    const auto result = run({.program = u"/usr/bin/printf"_s,
                             .arguments = {u"[%s]"_s, u""_s, u"a b"_s, u"$HOME \"'\\"_s, u"\U0001F680é\n"_s}});
    EXPECT_EQ(result.out, "[][a b][$HOME \"'\\][\xF0\x9F\x9A\x80\xC3\xA9\n]");
}

TEST(Process, RunsInTheGivenDirectoryWithTheGivenEnvironment) {
    const Scratch scratch;
    auto command = shell(u"pwd; echo $ONLY; echo ${HOME-unset}"_s);
    command.directory = scratch.directory();
    command.environment = Environment{{"ONLY", "one=two"}};
    EXPECT_EQ(run(command).out, scratch.directory().toUtf8() + "\none=two\nunset\n");
}

TEST(Process, InheritsTheEnvironmentAsItIsNow) {
    qputenv("OMBRU_TEST_VARIABLE", "now");
    EXPECT_EQ(ownEnvironment().at("OMBRU_TEST_VARIABLE"), "now");
    EXPECT_EQ(run(shell(u"echo $OMBRU_TEST_VARIABLE"_s)).out, "now\n");
    qunsetenv("OMBRU_TEST_VARIABLE");
    EXPECT_EQ(ownEnvironment().count("OMBRU_TEST_VARIABLE"), 0u);
}

TEST(Process, HasTheNullDeviceAsInputWhenNoneIsGiven) {
    EXPECT_EQ(run(shell(u"readlink /proc/self/fd/0"_s)).out, "/dev/null\n");
}

TEST(Process, EmptyInputIsAnEndedInput) {
    auto command = shell(u"cat; echo done"_s);
    command.input = QByteArray();
    EXPECT_EQ(run(command).out, "done\n");
}

TEST(Process, FeedsAnInputFarLargerThanAPipeWhileTheOutputComesBack) {
    QByteArray input;
    for (int number = 0; input.size() < 20 * MEGABYTE; ++number)
        input += QByteArray::number(number) + '\n';
    const auto result = run({.program = u"/bin/cat"_s, .input = input});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.out == input);
}

TEST(Process, AChildThatClosesItsInputEarlyIsNotAnError) {
    auto command = shell(u"exec <&-; echo closed; sleep 0.2; exit 3"_s);
    command.input = QByteArray(20 * MEGABYTE, 'x');
    const auto result = run(command);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "closed\n");
}

TEST(Process, AChildThatNeverReadsItsInputEndsAllTheSame) {
    auto command = shell(u"exit 4"_s);
    command.input = QByteArray(20 * MEGABYTE, 'x');
    EXPECT_EQ(run(command).status, 4);
}

TEST(Process, TakesAHundredMegabytesFromBothStreams) {
    const auto result = run(shell(u"head -c 100000000 /dev/zero & head -c 100000000 /dev/zero >&2; wait"_s));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.size(), 100 * MEGABYTE);
    EXPECT_EQ(result.err.size(), 100 * MEGABYTE);
    EXPECT_EQ(result.out.count('\0'), 100 * MEGABYTE);
}

TEST(Process, AChildThatClosesItsPipesEarlyIsWaitedFor) {
    const auto result = run(shell(u"echo before; exec >&- 2>&-; sleep 0.2; exit 5"_s));
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, "before\n");
}

TEST(Process, TheStatusOfASignalledChildIsTheSignal) {
    const auto result = run(shell(u"echo last words; kill -SEGV $$"_s));
    EXPECT_EQ(result.status, SIGSEGV);
    EXPECT_EQ(result.out, "last words\n");
}

TEST(Process, DoesNotWaitForAGrandchildThatHoldsThePipes) {
    const Scratch scratch;
    const auto pidFile = scratch.path(u"pid"_s);
    const auto result = run(shell(u"sleep 1000 & echo $! > "_s + pidFile + u"; echo mine"_s));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "mine\n");
    const auto grandchild = pidIn(pidFile);
    EXPECT_TRUE(isAlive(grandchild)) << "background jobs of a child that ended by itself are left alone";
    ::kill(static_cast<pid_t>(grandchild), SIGKILL);
}

TEST(Process, AGrandchildThatGoesOnPrintingDoesNotKeepTheEndAway) {
    const auto result = run(shell(u"yes & echo $! >&2; sleep 0.1"_s));
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(test::waitUntil([&] { return !isAlive(result.err.trimmed().toLongLong()); }))
        << "nobody reads its pipe any more";
}

TEST(Process, HandsOverPiecesAsTheyArriveAndCollectsNone) {
    const Scratch scratch;
    const auto gate = scratch.path(u"gate"_s);
    QByteArray out;
    QByteArray err;
    auto command = shell(u"echo one; echo uno >&2; while [ ! -e "_s + gate + u" ]; do sleep 0.01; done; echo two"_s);
    command.onOutput = [&](QByteArrayView piece) { out += piece; };
    command.onErrors = [&](QByteArrayView piece) { err += piece; };
    const auto process = Process::make(command);
    ASSERT_TRUE(process->start());
    EXPECT_TRUE(test::waitUntil([&] { return out == "one\n" && err == "uno\n"; }));
    EXPECT_TRUE(process->isRunning());
    scratch.write(u"gate"_s, {});
    const auto result = end(process);
    EXPECT_EQ(out, "one\ntwo\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
}

TEST(Process, AReceiverMayEndTheProcessAndDropIt) {
    auto command = shell(u"echo go; sleep 1000"_s);
    std::shared_ptr<Process> process;
    bool heard = false;
    command.onOutput = [&](QByteArrayView) {
        process->terminate();
        process.reset();
        heard = true;
    };
    process = Process::make(command);
    ASSERT_TRUE(process->start());
    EXPECT_TRUE(test::waitUntil([&] { return heard; }));
    test::settle();
}

TEST(Process, AMissingProgramIsAFailureThatNamesIt) {
    const Failure expected{u"process"_s, ENOENT, u"/no/such/program: No such file or directory"_s};
    EXPECT_EQ(failedStart({.program = u"/no/such/program"_s}), expected);
}

TEST(Process, ADirectoryOrAFileThatIsNotExecutableIsAFailure) {
    const Scratch scratch;
    EXPECT_EQ(failedStart({.program = scratch.directory()}).code, EACCES);
    EXPECT_EQ(failedStart({.program = scratch.write(u"plain"_s, "#!/bin/sh\n")}).code, EACCES);
}

TEST(Process, AFileOfGarbageIsAFailureAndIsNotTriedAsAScript) {
    const Scratch scratch;
    const auto marker = scratch.path(u"ran"_s);
    const auto garbage = scratch.write(u"garbage"_s, "touch " + marker.toUtf8() + "\n", QFile::ExeOwner);
    EXPECT_EQ(failedStart({.program = garbage}).code, ENOEXEC);
    EXPECT_FALSE(QFile::exists(marker));
}

TEST(Process, AMissingDirectoryIsAFailureThatNamesIt) {
    auto command = shell(u"true"_s);
    command.directory = u"/no/such/directory"_s;
    EXPECT_EQ(failedStart(command).description, u"the directory /no/such/directory: No such file or directory"_s);
}

TEST(Process, AnArgumentTooLongForTheSystemIsAFailure) {
    EXPECT_EQ(failedStart({.program = u"/bin/echo"_s, .arguments = {QString(3'000'000, u'x')}}).code, E2BIG);
}

TEST(Process, AnArgumentWithANulIsAFailureAndNotCutShort) {
    const auto failure = failedStart({.program = u"/bin/echo"_s, .arguments = {u"a"_s + QChar(u'\0') + u"b"_s}});
    EXPECT_EQ(failure.code, EINVAL);
    EXPECT_EQ(failure.description, u"/bin/echo: an argument contains a NUL character"_s);
}

TEST(Process, TooManyOpenFilesIsAFailureAndNothingLeaks) {
    const auto before = test::openDescriptors();
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    // One descriptor free after the other: each place where they can run out is met.
    for (rlim_t spare = 0; spare < 6; ++spare) {
        const rlimit tight{static_cast<rlim_t>(before) + spare, limit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &tight);
        const auto process = Process::make(shell(u"exit 0"_s));
        const auto started = process->start();
        ::setrlimit(RLIMIT_NOFILE, &limit);
        if (started)
            test::await(process->ended());
        else
            EXPECT_EQ(started.error().code, EMFILE) << started.error().description.toStdString();
    }
    test::settle();
    EXPECT_EQ(test::openDescriptors(), before);
}

TEST(Process, AChildThatPrintsWithoutEndIsKilledAtTheLimit) {
    auto command = shell(u"yes & yes >&2"_s);
    command.outputLimit = 10 * MEGABYTE;
    const auto process = Process::make(command);
    ASSERT_TRUE(process->start());
    const auto result = end(process);
    EXPECT_TRUE(process->overflowed());
    EXPECT_EQ(result.status, SIGKILL);
    EXPECT_LT(result.out.size() + result.err.size(), 20 * MEGABYTE);
}

TEST(Process, TheChildHasDefaultSignalsAndNoFilesOfOurs) {
    std::signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const int leaky = ::open("/dev/null", O_RDONLY);
    const auto result = run(shell(u"grep -E 'Sig(Blk|Ign)' /proc/self/status; ls /proc/$$/fd"_s));
    ::close(leaky);
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    std::signal(SIGUSR1, SIG_DFL);
    const auto lines = result.out.split('\n');
    ASSERT_GE(lines.size(), 2);
    // The C library keeps two signals to itself, 32 and 33, which nobody can send by accident.
    constexpr qulonglong INTERNAL = 0x180000000;
    EXPECT_EQ(lines[0], "SigBlk:\t0000000000000000");
    EXPECT_EQ(lines[1].split('\t').last().toULongLong(nullptr, 16) & ~INTERNAL, 0u) << lines[1].toStdString();
    EXPECT_EQ(lines.sliced(2).join(' ').toStdString(), "0 1 2 ");
}

TEST(Process, TheChildFindsWhatItInheritsInTheGivenOrder) {
    auto first = makePipe();
    auto second = makePipe();
    ASSERT_TRUE(first && second);
    const int one = first->writing.number();
    const int other = second->writing.number();
    // So many that the numbers here are among those there, each given to the other one.
    std::vector<int> inherited;
    for (int number = 3; number < 63; ++number)
        inherited.push_back(number == one ? other : one);
    inherited.insert(inherited.end(), {one, other});
    auto command =
        shell(u"exec /bin/bash -c 'echo one >&63; echo other >&64; [ -e /proc/$$/fd/65 ] || echo no more'"_s);
    command.inherited = inherited;
    EXPECT_EQ(run(command).out, "no more\n");
    const auto read = [](const Pipe &pipe) {
        std::array<char, 64> text{};
        ::fcntl(pipe.reading.number(), F_SETFL, O_NONBLOCK); // what did not come here is not waited for
        return QByteArray(text.data(), std::max<ssize_t>(0, ::read(pipe.reading.number(), text.data(), text.size())));
    };
    EXPECT_EQ(read(*first), "one\n");
    EXPECT_EQ(read(*second), "other\n");
}

TEST(Process, TheChildLeadsASessionOfItsOwn) {
    const auto result = run(shell(u"cut -d' ' -f1,5,6 /proc/$$/stat"_s));
    const auto numbers = result.out.trimmed().split(' ');
    ASSERT_EQ(numbers.size(), 3);
    EXPECT_EQ(numbers[0], numbers[1]);
    EXPECT_EQ(numbers[0], numbers[2]);
}

TEST(Process, TwoHundredRunsLeaveNoDescriptorAndNoZombie) {
    run(shell(u"true"_s));
    test::settle();
    const auto before = test::openDescriptors();
    for (int count = 0; count < 200; ++count) {
        auto command = shell(u"cat; exit 1"_s);
        command.input = QByteArray("text");
        EXPECT_EQ(run(command).status, 1);
        failedStart({.program = u"/no/such/program"_s, .input = QByteArray()});
    }
    test::settle();
    EXPECT_EQ(test::openDescriptors(), before);
    EXPECT_EQ(test::contents(u"/proc/self/task/%1/children"_s.arg(QCoreApplication::applicationPid())), "");
}

TEST(Process, ManyRunAtOnce) {
    std::vector<std::shared_ptr<Process>> processes;
    for (int number = 0; number < 50; ++number) {
        processes.push_back(Process::make(shell(u"echo %1; exit %1"_s.arg(number))));
        ASSERT_TRUE(processes.back()->start());
    }
    for (int number = 0; number < 50; ++number) {
        const auto result = end(processes[static_cast<size_t>(number)]);
        EXPECT_EQ(result.status, number);
        EXPECT_EQ(result.out, QByteArray::number(number) + '\n');
    }
}
