// The whole program on a real desktop, as its owner starts it; claude is played by the test.

#include "base/Descriptor.h"
#include "base/Process.h"
#include "tests/support/Processes.h"
#include "tests/support/StandIn.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::isAlive;
using test::isStopped;
using test::pidIn;
using test::waitUntil;

namespace {

struct Finished {
    int status = 0;
    QString out;
    QString err;
};

} // namespace

class RunCommandTest : public ::testing::Test {
protected:
    // A shell command line in which $OMBRU is the program.
    std::shared_ptr<Process> start(const QString &line) {
        auto environment = ownEnvironment();
        environment["HOME"] = scratch.directory().toUtf8();
        for (const auto *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
            environment.erase(name);
        environment["XDG_RUNTIME_DIR"] = scratch.directory().toUtf8();
        environment["OMBRU"] = qgetenv("OMBRU_BIN") + "/ombru";
        for (const auto &[name, value] : extra)
            environment[name] = value;
        auto process = Process::make({.program = u"/bin/sh"_s,
                                      .arguments = {u"-c"_s, line},
                                      .directory = scratch.directory(),
                                      .environment = environment});
        const auto started = process->start();
        EXPECT_TRUE(started);
        return process;
    }

    Finished finish(const std::shared_ptr<Process> &process) {
        test::await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput()), QString::fromUtf8(process->takeErrors())};
    }

    Finished run(const QString &line) { return finish(start(line)); }

    void reply(int call, const QString &text) {
        const QJsonObject json{{u"result"_s, text}, {u"session_id"_s, u"s"_s}};
        claude.file(u"reply.%1"_s.arg(call), QJsonDocument(json).toJson(QJsonDocument::Compact));
        claude.play(call, "cat \"$d/reply.$n\"");
    }

    // Starts the program so that it can be sent signals; its process id is in the file "pid".
    std::shared_ptr<Process> startHanging() {
        claude.playAlways("echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
        auto process = start(u"echo $$ >pid; exec \"$OMBRU\" run wait"_s);
        claudePid = pidIn(scratch.path(u"claude.pid"_s));
        return process;
    }

    // Whether the task is done although the program, started that way, was sent that signal on its way.
    bool goesOnAfter(int signal, const QString &how) {
        claude.playAlways("echo $$ >\"$HOME/claude.pid\"; until [ -e \"$HOME/go\" ]; do sleep 0.05; done\n"
                          "echo '{\"result\":\"DONE: ok\"}'");
        for (const auto &file : {u"go"_s, u"pid"_s, u"claude.pid"_s})
            QFile::remove(scratch.path(file));
        const auto process = start(how + u" sh -c 'echo $$ >pid; exec \"$OMBRU\" run wait' </dev/null"_s);
        EXPECT_GT(pidIn(scratch.path(u"claude.pid"_s)), 0);
        const auto pid = pid_t(pidIn(scratch.path(u"pid"_s)));
        EXPECT_TRUE(pid > 0 && ::kill(pid, signal) == 0);
        scratch.write(u"go"_s, "");
        return finish(process).status == 0;
    }

    // Ctrl-C on a terminal after a script was refused. Gives all that was shown.
    QString stopOnTerminal() {
        reply(1, u"```applescript\ntell application \"System Events\" to count processes\n```"_s);
        claude.play(2, "echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
        extra["TERM"] = "xterm";
        return run(u"mkfifo keys\nenv --default-signal=INT script -qefc '\"$OMBRU\" run go' log <keys >/dev/null & "
                   "exec 3>keys\n"
                   "until [ -e claude.pid ]; do sleep 0.05; done\nprintf '\\003' >&3; wait $!; cat log"_s)
            .out;
    }

    // A script is refused on a terminal; the owner is asked in a window and does this until it is gone. Gives all that
    // the terminal showed, and what is decided afterwards.
    QString answerWindow(const QByteArray &answer) {
        reply(1, u"```applescript\ntell application \"System Events\" to count processes\n```"_s);
        reply(2, u"DONE: it is not allowed"_s);
        extra["TERM"] = "xterm";
        extra["ANSWER"] = answer;
        return run(u"script -qefc '\"$OMBRU\" run --max-steps 2 go' log </dev/null >/dev/null &\n"
                   "question() { xdotool search --onlyvisible --name '^ombru: allow control of' \"$@\" 2>/dev/null; }\n"
                   "until question >/dev/null; do sleep 0.05; done\n"
                   "while question >/dev/null; do eval \"$ANSWER\"; sleep 0.2; done\n"
                   "wait $!; cat log; \"$OMBRU\" consent list"_s)
            .out;
    }

    test::Scratch scratch;
    test::StandIn claude{scratch.path(u".local/bin/claude"_s), scratch.path(u"claude"_s)};
    Environment extra;
    qint64 claudePid = test::NO_PROCESS;
};

TEST_F(RunCommandTest, PrintsTheLogAndExitsWithZeroOnTheFinalAnswer) {
    reply(1, u"I count.\n```applescript\nreturn 6 * 7\n```"_s);
    reply(2, u"DONE: It is 42."_s);
    const auto finished = run(u"\"$OMBRU\" run what is six times seven"_s);
    EXPECT_EQ(finished.status, 0) << finished.err.toStdString();
    EXPECT_EQ(finished.err, QString());
    const auto lines = finished.out.split(u'\n');
    EXPECT_EQ(lines.value(0), u"you ❯ what is six times seven"_s);
    EXPECT_TRUE(finished.out.contains(u"s): 42\n── step 2/15 "_s)) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"\n✓ It is 42.\n"_s));
    EXPECT_FALSE(finished.out.contains(u'\033')) << "no colours and no live line outside a terminal";
}

TEST_F(RunCommandTest, ColoursTheLogAndSaysWhatItWaitsForOnATerminal) {
    claude.play(1, "sleep 2; echo '{\"result\":\"DONE: ok\"}'");
    extra["TERM"] = "xterm";
    const auto finished = run(u"script -qec '\"$OMBRU\" run go' /dev/null </dev/null"_s);
    EXPECT_TRUE(finished.out.contains(u"\033[32m✓ ok"_s)) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"… Figuring out what to do… 1s · Ctrl-C stops"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, OnATerminalTheOwnerIsAskedForWhatAScriptWasRefused) {
    const auto told = answerWindow("xdotool mousemove 2 2; eval $(question getwindowgeometry --shell); "
                                   "xdotool mousemove --window $WINDOW $((WIDTH - 50)) $((HEIGHT - 30)) click 1");
    EXPECT_TRUE(told.contains(u"You are asked whether scripts may control System Events."_s)) << told.toStdString();
    EXPECT_TRUE(told.contains(u"Allowed. Run the task again"_s)) << told.toStdString();
    EXPECT_TRUE(told.section(u"Run the task again"_s, 1).contains(u"ombru  System Events  allowed"_s))
        << "the decision is listed: " << told.toStdString();
}

TEST_F(RunCommandTest, WhatTheOwnerDoesNotAllowThenIsRefused) {
    const auto told = answerWindow("question windowactivate --sync; xdotool key Escape");
    EXPECT_TRUE(told.contains(u"`ombru consent allow \"System Events\"`"_s)) << told.toStdString();
    EXPECT_FALSE(told.contains(u"Allowed."_s)) << told.toStdString();
    EXPECT_TRUE(told.contains(u"refused  20"_s)) << told.toStdString();
}

TEST_F(RunCommandTest, WithoutATerminalNobodyIsAskedButTheCommandIsNamed) {
    reply(1, u"```applescript\ntell application \"System Events\" to count processes\n```"_s);
    reply(2, u"DONE: it is not allowed"_s);
    const auto finished = run(u"yes | \"$OMBRU\" run --max-steps 2 go"_s);
    EXPECT_FALSE(finished.out.contains(u"You are asked"_s));
    EXPECT_TRUE(finished.out.contains(u"`ombru consent allow \"System Events\"`"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, AnApplicationWithSeveralNamesIsOfferedOnce) {
    reply(1, u"```applescript\ntell application \"System Events\" to count processes\n"
             u"tell application \"system events\" to count processes\n```"_s);
    reply(2, u"DONE: it is not allowed"_s);
    const auto finished = run(u"\"$OMBRU\" run --max-steps 2 go"_s);
    EXPECT_TRUE(finished.out.contains(u"✗ System Events, system events hasn't been allowed yet"_s))
        << finished.out.toStdString();
    EXPECT_EQ(finished.out.count(u"`ombru consent allow \"System Events\"`"_s), 2) << "when it happens, and at the end";
}

TEST_F(RunCommandTest, NamesTheCommandAlsoWhenTheSystemEndedTheScript) {
    reply(1, u"```applescript\ntell app \"System Events\" to count processes\n```"_s);
    reply(2, u"DONE: it is not allowed"_s);
    const auto finished = run(u"\"$OMBRU\" consent deny 'System Events'; \"$OMBRU\" run --max-steps 2 go"_s);
    EXPECT_TRUE(finished.out.contains(u"(-1743)"_s)) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"`ombru consent allow APP`"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, ExitsWithThreeWhenTheAgentAnswersWithoutBeingDone) {
    reply(1, u"Which editor do you mean?"_s);
    const auto finished = run(u"\"$OMBRU\" run go"_s);
    EXPECT_EQ(finished.status, 3);
    EXPECT_TRUE(finished.out.contains(u"`ombru run --continue \"...\"` answers it"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, GoesOnWithTheLastConversationUntilItIsForgotten) {
    for (int call = 1; call <= 5; ++call)
        reply(call, u"DONE: ok"_s);
    const auto resumes = [this](int call) { return claude.arguments(call).join(u' ').contains(u"--resume s"_s); };
    const auto none = run(u"\"$OMBRU\" run --continue go"_s);
    EXPECT_EQ(none.status, 2);
    EXPECT_TRUE(none.err.contains(u"There is no conversation to go on with"_s)) << none.err.toStdString();
    EXPECT_EQ(run(u"\"$OMBRU\" run go && \"$OMBRU\" run --continue on"_s).status, 0);
    EXPECT_TRUE(!resumes(1) && resumes(2));
    EXPECT_EQ(run(u"\"$OMBRU\" run another"_s).status, 0);
    EXPECT_FALSE(resumes(3)) << "a task begins a new one";
    const auto forgotten = run(u"\"$OMBRU\" new-session"_s);
    EXPECT_EQ(forgotten.status, 0) << forgotten.err.toStdString();
    EXPECT_EQ(run(u"\"$OMBRU\" run --continue go"_s).status, 2);
    EXPECT_EQ(claude.calls(), 3);
}

TEST_F(RunCommandTest, ATaskCanComeFromAPipe) {
    reply(1, u"DONE: ok"_s);
    const auto finished = run(u"printf ' open it\n\n' | \"$OMBRU\" run -"_s);
    EXPECT_EQ(finished.status, 0);
    EXPECT_TRUE(finished.out.startsWith(u"you ❯ open it\n"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, APipeWithoutATaskOrWithoutAnEndIsRefused) {
    EXPECT_EQ(run(u"\"$OMBRU\" run - </dev/null"_s).status, 2);
    const auto endless = run(u"\"$OMBRU\" run - </dev/zero"_s);
    EXPECT_EQ(endless.status, 2);
    EXPECT_TRUE(endless.err.contains(u"longer than 64 KiB"_s)) << endless.err.toStdString();
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(RunCommandTest, ASettingGetsItsDefaultBack) {
    const auto finished = run(u"\"$OMBRU\" settings maxSteps 3 && \"$OMBRU\" settings --reset maxSteps && "
                              "\"$OMBRU\" settings maxSteps"_s);
    EXPECT_EQ(finished.out, u"15\n"_s);
}

TEST_F(RunCommandTest, ExitsWithOneWhenTheTaskFails) {
    claude.playAlways("echo broken >&2; exit 3");
    const auto finished = run(u"\"$OMBRU\" run go"_s);
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(finished.out.contains(u"✗ claude failed: broken"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, ExitsWithOneWhenItRunsOutOfSteps) {
    reply(1, u"```applescript\nreturn 1\n```"_s);
    const auto finished = run(u"\"$OMBRU\" run --max-steps 1 go"_s);
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(finished.out.contains(u"── step 1/1 "_s));
    EXPECT_TRUE(finished.out.contains(u"── hit max steps (1)"_s)) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"`ombru run --continue \"go on\"`"_s)) << finished.out.toStdString();
    EXPECT_FALSE(QFile::exists(scratch.path(u".config/ombru/ombru.conf"_s))) << "an option for one time is not kept";
}

TEST_F(RunCommandTest, CtrlCStopsTheTaskCleanly) {
    const auto process = startHanging();
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGINT);
    const auto finished = finish(process);
    EXPECT_EQ(finished.status, 130);
    EXPECT_TRUE(finished.out.endsWith(u"cancelled\n"_s)) << finished.out.toStdString();
    EXPECT_TRUE(waitUntil([this] { return !isAlive(claudePid); }));
}

TEST_F(RunCommandTest, CtrlBackslashIsAStopLikeCtrlC) {
    const auto process = startHanging();
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGQUIT);
    const auto finished = finish(process);
    EXPECT_EQ(finished.status, 130);
    EXPECT_TRUE(finished.out.endsWith(u"cancelled\n"_s)) << finished.out.toStdString();
    EXPECT_TRUE(waitUntil([this] { return !isAlive(claudePid); }));
}

TEST_F(RunCommandTest, CtrlZWhereNobodyCouldContinueItLetsTheTaskGoOn) {
    const auto process = startHanging();
    const auto pid = pid_t(pidIn(scratch.path(u"pid"_s)));
    ::kill(pid, SIGTSTP);
    QByteArray errors;
    EXPECT_TRUE(waitUntil([&] { return errors.append(process->takeErrors()).contains("so it goes on"); }));
    EXPECT_TRUE(waitUntil([this] { return !isStopped(claudePid); }));
    ::kill(pid, SIGINT);
    EXPECT_EQ(finish(process).status, 130);
}

TEST_F(RunCommandTest, SignalsThatItWasStartedToIgnoreStayIgnored) {
    EXPECT_TRUE(goesOnAfter(SIGHUP, u"nohup"_s));
    EXPECT_TRUE(goesOnAfter(SIGINT, u"trap '' INT;"_s));
    EXPECT_TRUE(goesOnAfter(SIGQUIT, u"trap '' QUIT;"_s));
    EXPECT_TRUE(goesOnAfter(SIGTERM, u"trap '' TERM;"_s));
    EXPECT_FALSE(goesOnAfter(SIGINT, u""_s));
}

TEST_F(RunCommandTest, ASecondTaskOnTheSameDesktopIsRefused) {
    const auto process = startHanging();
    const auto second = run(u"\"$OMBRU\" run another"_s);
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(second.err.startsWith(u"Another task is running on this desktop."_s)) << second.err.toStdString();
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGTERM);
    EXPECT_EQ(finish(process).status, 130);
}

TEST_F(RunCommandTest, DoesNotGoOnUnseenWhenItsReaderHasGone) {
    claude.playAlways(
        "echo $$ >\"$HOME/claude.pid\"; sleep 1; echo '{\"result\":\"```applescript\\nreturn 1\\n```\"}'");
    const auto finished = run(u"{ \"$OMBRU\" run go; echo $? >status; } | head -n 1"_s);
    EXPECT_EQ(finished.out, u"you ❯ go\n"_s);
    EXPECT_EQ(test::contents(scratch.path(u"status"_s)).trimmed(), "1");
    EXPECT_TRUE(finished.err.contains(u"The output could not be written, so the task was stopped."_s));
    EXPECT_LE(claude.calls(), 2);
}

TEST_F(RunCommandTest, AReaderThatDoesNotReadKeepsNobodyFromStoppingIt) {
    const auto path = scratch.path(u"out"_s);
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
    const Descriptor unread(::open(qPrintable(path), O_RDWR | O_NONBLOCK));
    reply(1, u"DONE: "_s + QString(200'000, u'x'));
    const auto process = start(u"echo $$ >pid; exec \"$OMBRU\" run --json go >out"_s);
    const auto isFull = [&] {
        pollfd room{unread.number(), POLLOUT, 0};
        return ::poll(&room, 1, 0) == 0;
    };
    ASSERT_TRUE(waitUntil(isFull));
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGINT);
    EXPECT_EQ(finish(process).status, 1);
}

TEST_F(RunCommandTest, NorDoesOneThatDoesNotReadTheErrors) {
    const auto path = scratch.path(u"out"_s);
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
    const Descriptor unread(::open(qPrintable(path), O_RDWR | O_NONBLOCK));
    reply(1, u"DONE: "_s + QString(200'000, u'x'));
    const auto process = start(u"echo $$ >pid; exec \"$OMBRU\" run go >out 2>&1"_s);
    ASSERT_TRUE(waitUntil([&] {
        pollfd room{unread.number(), POLLOUT, 0};
        return ::poll(&room, 1, 0) == 0;
    }));
    const auto pid = pid_t(pidIn(scratch.path(u"pid"_s)));
    ASSERT_GT(pid, 0);
    ::kill(pid, SIGINT);
    EXPECT_EQ(finish(process).status, 1);
}

TEST_F(RunCommandTest, AScriptsTimeEndsAlsoWhereNobodyReads) {
    const auto path = scratch.path(u"out"_s);
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
    const Descriptor unread(::open(qPrintable(path), O_RDWR | O_NONBLOCK));
    reply(1, QString(200'000, u'x') + u"\n```applescript\ndo shell script \"echo $$ >shell.new; mv shell.new "
                                      "shell.pid; exec sleep 1000\"\n```"_s);
    claude.play(2, "exec sleep 1000");
    const auto process =
        start(u"\"$OMBRU\" settings scriptTimeout 1; echo $$ >pid; exec \"$OMBRU\" run --json go >out"_s);
    const auto shell = pidIn(scratch.path(u"shell.pid"_s));
    pollfd room{unread.number(), POLLOUT, 0};
    EXPECT_EQ(::poll(&room, 1, 0), 0) << "nothing more goes into the pipe";
    EXPECT_TRUE(waitUntil([&] { return !isAlive(shell); })) << "the script goes on";
    EXPECT_TRUE(waitUntil([&] { return claude.calls() == 2; })) << "the task does not go on";
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGINT);
    EXPECT_EQ(finish(process).status, 1);
}

TEST_F(RunCommandTest, WhatNobodyReadsForAWhileIsKeptForThem) {
    const auto path = scratch.path(u"out"_s);
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
    Descriptor reader(::open(qPrintable(path), O_RDWR | O_NONBLOCK));
    reply(1, QString(200'000, u'x') + u"\n```applescript\nreturn 6 * 7\n```"_s);
    claude.play(2, "echo >second; echo '{\"result\":\"DONE: all of it\"}'");
    const auto process = start(u"exec \"$OMBRU\" run go >out"_s);
    ASSERT_TRUE(waitUntil([&] { return claude.calls() == 2; })) << "the task waits for its reader";
    QByteArray seen;
    const auto readsAll = [&] {
        std::array<char, 4096> bytes;
        for (ssize_t got = 0; (got = ::read(reader.number(), bytes.data(), bytes.size())) > 0;)
            seen.append(bytes.data(), got);
        return !process->isRunning();
    };
    EXPECT_TRUE(waitUntil(readsAll));
    readsAll();
    EXPECT_EQ(finish(process).status, 0);
    EXPECT_EQ(seen.count('x'), 200'000) << "as it was";
    EXPECT_TRUE(seen.endsWith(" total\n") || seen.contains("✓ all of it\n")) << seen.last(200).toStdString();
}

TEST_F(RunCommandTest, JsonIsNotChangedForTheEye) {
    reply(1, u"DONE: a\u007fb\u0085c\u001b[2J"_s);
    const auto finished = run(u"\"$OMBRU\" run --json go"_s);
    const auto last = QJsonDocument::fromJson(finished.out.trimmed().split(u'\n').last().toUtf8()).object();
    EXPECT_EQ(last[u"answer"_s].toString(), u"a\u007fb\u0085c\u001b[2J"_s);
}

TEST_F(RunCommandTest, ARuntimeDirectoryThatCannotBeUsedKeepsNoTask) {
    scratch.write(u"ombru"_s, "in the way");
    extra["XDG_RUNTIME_DIR"] = "/nonexistent";
    reply(1, u"DONE: ok"_s);
    const auto finished = run(u"\"$OMBRU\" run go"_s);
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString() << finished.err.toStdString();
}

TEST_F(RunCommandTest, ASecondTaskIsRefusedWhateverItsRuntimeDirectoryAndTheNameOfItsDisplay) {
    const auto process = startHanging();
    QDir().mkpath(scratch.path(u"other"_s));
    extra["XDG_RUNTIME_DIR"] = scratch.path(u"other"_s).toUtf8();
    extra["DISPLAY"] = "unix" + qgetenv("DISPLAY") + ".0";
    const auto second = run(u"\"$OMBRU\" run --json another"_s);
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(second.err.startsWith(u"Another task is running on this desktop."_s)) << second.err.toStdString();
    EXPECT_TRUE(second.out.contains(u"\"Another task is running on this desktop."_s)) << "its log says so, too";
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGKILL);
    EXPECT_NE(finish(process).status, 0);
    ::kill(pid_t(claudePid), SIGKILL);
    claude.playAlways("echo '{\"result\":\"DONE: ok\"}'");
    EXPECT_TRUE(waitUntil([this] { return run(u"\"$OMBRU\" run another"_s).status == 0; }))
        << "the desktop is free once its holder is gone";
}

TEST_F(RunCommandTest, AFailedTaskPointsToTheDoctor) {
    claude.playAlways("exit 3");
    EXPECT_TRUE(run(u"\"$OMBRU\" run go"_s)
                    .out.endsWith(u"`ombru doctor` says what works here and what to do about the rest.\n"_s));
}

TEST_F(RunCommandTest, ABusThatNeverAnswersDoesNotKeepTheProgram) {
    const auto path = scratch.path(u"bus"_s).toUtf8();
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), qsizetype(sizeof address.sun_path));
    std::copy_n(path.constData(), path.size(), address.sun_path);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    extra["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + path;
    reply(1, u"DONE: ok"_s);
    EXPECT_EQ(run(u"\"$OMBRU\" run go"_s).status, 0);
    ::close(listener);
}

TEST_F(RunCommandTest, CtrlCIsNotFollowedByAQuestion) {
    const auto told = stopOnTerminal();
    EXPECT_TRUE(told.contains(u"`ombru consent allow \"System Events\"`"_s)) << told.toStdString();
    EXPECT_FALSE(told.contains(u"You are asked"_s)) << told.toStdString();
}

TEST_F(RunCommandTest, ASecondCtrlCDoesNotWait) {
    claude.playAlways("trap '' TERM; echo $$ >\"$HOME/claude.pid\"; while :; do sleep 1000; done");
    const auto process = start(u"echo $$ >pid; exec \"$OMBRU\" run wait"_s);
    claudePid = pidIn(scratch.path(u"claude.pid"_s));
    const auto pid = pid_t(pidIn(scratch.path(u"pid"_s)));
    ::kill(pid, SIGINT);
    ::kill(pid, SIGINT);
    EXPECT_EQ(finish(process).status, 130);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claudePid); }));
}

TEST_F(RunCommandTest, SaysWhatIsWrongWithAnOption) {
    const auto finished = run(u"\"$OMBRU\" run --max-steps none go"_s);
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.err, u"maxSteps cannot be \"none\": it takes a whole number from 1 to 1000\n"_s);
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(RunCommandTest, WithoutADisplayTheTaskFailsWithAnAnswer) {
    extra["DISPLAY"] = "";
    const auto finished = run(u"\"$OMBRU\" run go"_s);
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(finished.out.contains(u"✗ screenshot failed"_s)) << finished.out.toStdString();
}

TEST_F(RunCommandTest, DoctorSaysWhatWorksAndWhatToDo) {
    claude.playAlways("case $1 in --help) echo --print --output-format --tools --allowedTools --append-system-prompt "
                      "--resume;; auth) echo '{\"loggedIn\":true,\"email\":\"a@b.example\"}';; esac");
    const auto undecided = run(u"\"$OMBRU\" doctor"_s);
    EXPECT_EQ(undecided.status, 1) << "no task can type: " << undecided.out.toStdString();
    run(u"\"${OMBRU%/bin/ombru}/tests/ombru-decide\" allow com.ombru.mac 'System Events'"_s);
    const auto well = run(u"\"$OMBRU\" doctor"_s);
    EXPECT_EQ(well.status, 0) << well.out.toStdString();
    for (const auto &name :
         {u"✓ screen"_s, u"✓ input"_s, u"✓ stop key"_s, u"✓ notifications"_s, u"✓ claude"_s, u"✓ osascript"_s})
        EXPECT_TRUE(well.out.contains(name)) << name.toStdString();
    EXPECT_TRUE(well.out.contains(u"signed in as a@b.example"_s));
    extra["DISPLAY"] = "";
    const auto ill = run(u"rm .local/bin/claude; \"$OMBRU\" doctor"_s);
    EXPECT_EQ(ill.status, 1);
    EXPECT_TRUE(ill.out.contains(u"✗ screen"_s)) << ill.out.toStdString();
    EXPECT_TRUE(ill.out.contains(u"→ Install it: "_s));
}

TEST_F(RunCommandTest, TestClaudeTellsWhetherItAnswers) {
    reply(1, u"ombru test ok"_s);
    const auto well = run(u"\"$OMBRU\" test-claude"_s);
    EXPECT_EQ(well.status, 0);
    EXPECT_TRUE(well.out.startsWith(u"✓ claude -p works ("_s)) << well.out.toStdString();
    claude.playAlways("exit 1");
    EXPECT_EQ(run(u"\"$OMBRU\" test-claude"_s).status, 1);
    claude.playAlways("echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    const auto process = start(u"echo $$ >pid; exec \"$OMBRU\" test-claude"_s);
    claudePid = pidIn(scratch.path(u"claude.pid"_s));
    ::kill(pid_t(pidIn(scratch.path(u"pid"_s))), SIGINT);
    EXPECT_EQ(finish(process).status, 130);
    EXPECT_TRUE(waitUntil([this] { return !isAlive(claudePid); }));
}

TEST_F(RunCommandTest, SettingsAreListedReadAndChanged) {
    const auto list = run(u"\"$OMBRU\" settings"_s);
    EXPECT_EQ(list.status, 0);
    for (const auto &setting :
         {u"serverURL"_s, u"model"_s, u"maxSteps"_s, u"scriptTimeout"_s, u"settle"_s, u"callPort"_s, u"callInterface"_s,
          u"speechURL"_s, u"cachedPrompt"_s, u"appAutomation"_s})
        EXPECT_TRUE(list.out.contains(setting)) << setting.toStdString();
    EXPECT_EQ(run(u"\"$OMBRU\" settings maxSteps 7"_s).status, 0);
    EXPECT_EQ(run(u"\"$OMBRU\" settings maxSteps"_s).out, u"7\n"_s);
    const auto refused = run(u"\"$OMBRU\" settings maxSteps lots"_s);
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(refused.err.contains(u"a whole number from 1 to 1000"_s));
    EXPECT_EQ(run(u"\"$OMBRU\" settings maxSteps"_s).out, u"7\n"_s);
    const auto unknown = run(u"\"$OMBRU\" settings wings"_s);
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.err.contains(u"There is no setting \"wings\""_s));
}
