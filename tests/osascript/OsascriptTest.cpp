// The executable itself, from its command line to its exit status, on a computer without a display.
#include "base/Process.h"
#include "tests/support/Consent.h"
#include "tests/support/Processes.h"

#include <QRegularExpression>
#include <QStringEncoder>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

struct Outcome {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
    return stream << "status " << outcome.status << ", output \"" << outcome.out.left(500).toStdString()
                  << "\", errors \"" << outcome.err.left(500).toStdString() << '"';
}

class Osascript : public testing::Test {
protected:
    std::shared_ptr<Process> start(const QStringList &arguments, const QByteArray &input = {}) {
        auto environment = ownEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"})
            environment.erase(name);
        environment["HOME"] = m_scratch.directory().toUtf8();
        environment["XDG_DATA_HOME"] = m_scratch.directory().toUtf8();
        environment["LANG"] = "C.UTF-8";
        auto process = Process::make({.program = qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s,
                                      .arguments = arguments,
                                      .directory = m_scratch.directory(),
                                      .environment = environment,
                                      .input = input});
        const auto started = process->start();
        EXPECT_TRUE(started) << started.error().description.toStdString();
        return process;
    }

    static Outcome end(const std::shared_ptr<Process> &process) {
        await(process->ended());
        return {process->status(), process->takeOutput(), process->takeErrors()};
    }

    // A shell command that writes a number into a file of the scratch directory, whole.
    static QString noteOf(const QString &name, const QString &number) {
        return u"echo %2 > %1.new; mv %1.new %1;"_s.arg(name, number);
    }
    qint64 noted(const QString &name) const { return pidIn(m_scratch.path(name)); }

    // The statement that runs a command, which notes its own shell and osascript first.
    QString shellNoting(const QString &command) const {
        return u"do shell script \"cd '%1'; %2 %3 %4\""_s.arg(m_scratch.directory(), noteOf(u"parent"_s, u"$PPID"_s),
                                                              noteOf(u"shell"_s, u"$$"_s), command);
    }
    std::shared_ptr<Process> startShell(const QString &command, const QString &before = u"log 1"_s) {
        for (const QString &name : {u"parent"_s, u"shell"_s, u"job"_s})
            QFile::remove(m_scratch.path(name));
        return start({u"-e"_s, before, u"-e"_s, shellNoting(command)});
    }

    Outcome run(const QStringList &arguments, const QByteArray &input = {}) { return end(start(arguments, input)); }
    Outcome script(const QString &text) { return run({u"-e"_s, text}); }

    // The script failed with that error and said nothing else.
    static void expectError(const Outcome &outcome, const QByteArray &error) {
        EXPECT_EQ(outcome.status, 1) << outcome;
        EXPECT_EQ(outcome.out, "") << outcome;
        EXPECT_EQ(outcome.err, error + "\n");
    }

    Scratch m_scratch;
};

} // namespace

// --- what to run ---

TEST_F(Osascript, RunsOneLine) {
    const auto outcome = script(u"return 1 + 1"_s);
    EXPECT_EQ(outcome.out, "2\n") << outcome;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(Osascript, LinesAreOneScript) {
    EXPECT_EQ(run({u"-e"_s, u"set x to 20"_s, u"-e"_s, u"x + 1"_s}).out, "21\n");
}

TEST_F(Osascript, RunsAFile) {
    const auto file = m_scratch.write(u"a b.applescript"_s, "return \"жёлтый 🌧\"\n");
    EXPECT_EQ(run({file}).out, "жёлтый 🌧\n");
}

TEST_F(Osascript, RunsStandardInput) {
    EXPECT_EQ(run({u"-"_s}, "return 7").out, "7\n");
    EXPECT_EQ(run({}, "return 8").out, "8\n");
}

TEST_F(Osascript, HandsTheArgumentsToTheScript) {
    const QByteArray text = "on run argv\nreturn (count of argv) & item 2 of argv\nend run";
    EXPECT_EQ(run({u"-"_s, u"one"_s, u"two words"_s}, text).out, "2, two words\n");
    const auto file = m_scratch.write(u"a.applescript"_s, text);
    EXPECT_EQ(run({file, u"one"_s, u"-e"_s}).out, "2, -e\n");
}

TEST_F(Osascript, AFileThatIsNotThereIsAnError) {
    const auto outcome = run({u"/no/such/file.applescript"_s});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.contains("/no/such/file.applescript")) << outcome;
}

TEST_F(Osascript, AWrongOptionIsAnError) {
    const auto outcome = run({u"--no-such-option"_s});
    EXPECT_NE(outcome.status, 0);
    EXPECT_NE(outcome.err, "");
    EXPECT_EQ(outcome.out, "");
}

TEST_F(Osascript, AnEmptyScriptDoesNothing) {
    for (const QByteArray &text : {QByteArray(), QByteArray("\n\n"), QByteArray("-- only this\n")}) {
        const auto outcome = run({u"-"_s}, text);
        EXPECT_EQ(outcome.status, 0) << outcome;
        EXPECT_EQ(outcome.err, "") << outcome;
    }
}

// --- results and errors ---

TEST_F(Osascript, WritesResultsForReadersOrAsSource) {
    const auto text = u"{1, \"a\", true, {b:2.5}}"_s;
    EXPECT_EQ(script(text).out, "1, a, true, b:2.5\n");
    EXPECT_EQ(run({u"-s"_s, u"s"_s, u"-e"_s, text}).out, "{1, \"a\", true, {b:2.5}}\n");
    EXPECT_EQ(run({u"-ss"_s, u"-e"_s, text}).out, "{1, \"a\", true, {b:2.5}}\n");
}

TEST_F(Osascript, LogsOnStandardErrorWhileItRuns) {
    const auto process = start({u"-e"_s, u"log \"first\""_s, u"-e"_s,
                                u"do shell script \"touch '%1'; sleep 600\""_s.arg(m_scratch.path(u"mark"_s))});
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(m_scratch.path(u"mark"_s)); }));
    process->terminate();
    const auto outcome = end(process);
    EXPECT_EQ(outcome.err, "first\n");
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.status, SIGTERM);
}

TEST_F(Osascript, AnErrorNamesItsPlaceInCharacters) {
    expectError(script(u"foo"_s), "0:3: execution error: The variable foo is not defined. (-2753)");
    const auto later = script(u"set x to \"🌧\"\nfoo"_s);
    EXPECT_EQ(later.status, 1);
    EXPECT_TRUE(later.err.endsWith(": execution error: The variable foo is not defined. (-2753)\n")) << later;
}

TEST_F(Osascript, TheScriptsOwnErrorsKeepTheirNumber) {
    const auto outcome = script(u"error \"No rain today.\" number 77"_s);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.endsWith(": execution error: No rain today. (77)\n")) << outcome;
    EXPECT_TRUE(script(u"error number -128"_s).err.endsWith(": execution error: User canceled. (-128)\n"));
}

TEST_F(Osascript, ASyntaxErrorRunsNothing) {
    const auto outcome = script(u"log \"begun\"\nset x to"_s);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    static const QRegularExpression form(u"^\\d+:\\d+: syntax error: .+ \\(-27\\d\\d\\)\\n$"_s);
    EXPECT_TRUE(form.match(QString::fromUtf8(outcome.err)).hasMatch()) << outcome;
}

// --- unusual input ---

TEST_F(Osascript, SurvivesWhatIsNoText) {
    for (const QByteArray &text :
         {QByteArray("\0\0\0", 3), QByteArray("return \"\xff\xfe\x80\""), QByteArray("\"\0\"", 3),
          QByteArray("return \"unfinished"), QByteArray(4096, '('), QByteArray(100'000, '\xc3')}) {
        const auto outcome = run({u"-"_s}, text);
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome;
    }
}

TEST_F(Osascript, DeepNestingIsAnErrorAndNoCrash) {
    const auto brackets = run({u"-"_s}, QByteArray(50'000, '{') + QByteArray(50'000, '}'));
    EXPECT_EQ(brackets.status, 1) << brackets;
    EXPECT_NE(brackets.err, "");
    const auto recursion = run({u"-"_s}, "on f(x)\nreturn 1 + f(x)\nend f\nf(1)");
    EXPECT_EQ(recursion.status, 1) << recursion;
    EXPECT_TRUE(recursion.err.contains("(-2706)")) << recursion;
}

TEST_F(Osascript, RunsAScriptOfFiveMegabytes) {
    QByteArray text = "set x to 0\n";
    while (text.size() < 5'000'000)
        text += "-- nothing but a long, long comment, line after line of it, and then another one of the same kind\n";
    text += "return x + 42";
    EXPECT_EQ(run({u"-"_s}, text).out, "42\n");
}

TEST_F(Osascript, TakesLineEndsOfAllSystems) {
    EXPECT_EQ(run({u"-"_s}, "set x to 1\r\nset y to 2\r\nx + y\r\n").out, "3\n");
    EXPECT_EQ(run({u"-"_s}, "set x to 1\rset y to 2\rx + y\r").out, "3\n");
    EXPECT_EQ(run({u"-"_s}, "\xef\xbb\xbfreturn 4").out, "4\n");
}

TEST_F(Osascript, AFileInUtf16IsReadAndItsErrorsPlacedInCharacters) {
    const auto utf16 = [](QStringConverter::Encoding encoding, const QString &text) {
        QStringEncoder encode(encoding, QStringConverter::Flag::WriteBom);
        return QByteArray(encode(text));
    };
    for (const auto encoding : {QStringConverter::Utf16LE, QStringConverter::Utf16BE}) {
        const auto file = m_scratch.write(u"wide"_s, utf16(encoding, u"return \"жёлтый 👍🏽\""_s));
        EXPECT_EQ(run({file}).out, "жёлтый 👍🏽\n");
        m_scratch.write(u"wide"_s, utf16(encoding, u"set x to \"👍🏽e\u0301\"\r\nset y to missingThing"_s));
        expectError(run({file}), file.toUtf8() + ": 26:38: execution error: The variable missingThing is not defined. "
                                                 "(-2753)");
    }
}

// --- do shell script ---

TEST_F(Osascript, TheShellsOutputIsAResult) {
    EXPECT_EQ(script(u"do shell script \"printf 'a'; printf 'ö\\\\n'\""_s).out, "aö\n");
    EXPECT_EQ(script(u"do shell script \"cat\""_s).out, "\n") << "it has nothing to read";
    EXPECT_EQ(script(u"do shell script \"printf %s \" & quoted form of \"it's $HOME\""_s).out, "it's $HOME\n");
}

TEST_F(Osascript, TheShellsFailureIsAnErrorWithItsStatus) {
    const auto outcome = script(u"do shell script \"echo 'went wrong' >&2; exit 3\""_s);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.endsWith(": execution error: went wrong (3)\n")) << outcome;
    const auto silent = script(u"do shell script \"exit 4\""_s);
    EXPECT_TRUE(silent.err.endsWith(": execution error: The command exited with a non-zero status. (4)\n")) << silent;
    EXPECT_EQ(script(u"try\ndo shell script \"exit 5\"\non error number n\nreturn n\nend try"_s).out, "5\n");
}

TEST_F(Osascript, HearsOfItsShellsEndUnderAParentThatIgnoresItsChildren) {
    const auto osascript = qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s;
    const auto process =
        Process::make({.program = u"/usr/bin/env"_s,
                       .arguments = {u"--ignore-signal=CHLD"_s, osascript, u"-e"_s, u"do shell script \"exit 3\""_s}});
    ASSERT_TRUE(process->start());
    const auto outcome = end(process);
    EXPECT_EQ(outcome.status, 1) << outcome;
    EXPECT_TRUE(outcome.err.endsWith("(3)\n")) << outcome;
}

TEST_F(Osascript, FiftyMegabytesOfOutputArrive) {
    const auto outcome = script(u"do shell script \"head -c 50000000 /dev/zero | tr '\\\\0' x\""_s);
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_EQ(outcome.out.size(), 50'000'001);
}

TEST_F(Osascript, ABackgroundJobIsNeitherWaitedForNorEnded) {
    const auto file = m_scratch.path(u"pid"_s);
    const auto outcome = script(u"do shell script \"sleep 600 & echo $! > '%1'; echo started\""_s.arg(file));
    EXPECT_EQ(outcome.out, "started\n") << outcome;
    const auto pid = pidIn(file);
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(isAlive(pid));
    ::kill(static_cast<pid_t>(pid), SIGKILL);
}

TEST_F(Osascript, ABackgroundJobThatNeverStopsWritingIsNotWaitedForEither) {
    const auto file = m_scratch.path(u"pid"_s);
    const auto outcome = script(u"length of (do shell script \"yes & echo $! > '%1'\") < 500000000"_s.arg(file));
    EXPECT_EQ(outcome.out, "true\n") << outcome;
    ASSERT_GT(pidIn(file), 0);
    ::kill(static_cast<pid_t>(pidIn(file)), SIGKILL);
}

// --- ends and loads ---

TEST_F(Osascript, EndsWithItsShellWhenItsGroupIsEnded) {
    const auto file = m_scratch.path(u"pid"_s);
    const auto process = start({u"-e"_s, u"do shell script \"echo $$ > '%1'; sleep 600; true\""_s.arg(file)});
    const auto pid = pidIn(file);
    ASSERT_GT(pid, 0);
    process->terminate();
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(pid); }));
}

TEST_F(Osascript, EndsWithItsShellWhenItAloneIsEnded) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        const auto process = startShell(u"sleep 600 & %1 sleep 600; true"_s.arg(noteOf(u"job"_s, u"$!"_s)));
        const auto pids = {noted(u"shell"_s), noted(u"job"_s)};
        ::kill(pid_t(noted(u"parent"_s)), signal);
        EXPECT_EQ(end(process).status, signal);
        for (const auto pid : pids)
            EXPECT_FALSE(isAlive(pid)) << signal;
    }
}

TEST_F(Osascript, AShellThatDoesNotWantToEndIsEndedToo) {
    const auto process = startShell(u"trap '' TERM; %1 sleep 600; true"_s.arg(noteOf(u"trapped"_s, u"$$"_s)));
    const auto shell = noted(u"trapped"_s);
    ::kill(pid_t(noted(u"parent"_s)), SIGTERM);
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_FALSE(isAlive(shell));
}

TEST_F(Osascript, OrphansLeaveTheTableOfProcessesWhileOthersAreStillEnded) {
    const auto process =
        startShell(u"trap '' TERM; (trap - TERM; sleep 600 & echo $! > orphan); %1 while [ -e /proc/$(cat orphan) ]; "
                   "do :; done; : > '%2'; sleep 600"_s.arg(noteOf(u"ready"_s, u"$$"_s), m_scratch.path(u"reaped"_s)));
    noted(u"ready"_s);
    ::kill(pid_t(noted(u"parent"_s)), SIGTERM);
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_TRUE(QFile::exists(m_scratch.path(u"reaped"_s)));
}

TEST_F(Osascript, ItsEndEndsAllThatTheScriptHasStartedButNotWhatIsTheOwners) {
    const auto process = startShell(
        u"timeout 600 sleep 600 & %1 OMBRU_OPENED=$PPID setsid sh -c 'echo $$ > opened; exec sleep 600' & "
        "setsid sh -c 'echo $$ > away; exec sleep 600' & while [ ! -s away ] || [ ! -s opened ]; do sleep 0.01; done; "
        "%2 sleep 600; true"_s.arg(noteOf(u"group"_s, u"$!"_s), noteOf(u"ready"_s, u"$$"_s)),
        u"do shell script \"cd '%1'; nohup sleep 600 > /dev/null 2>&1 & echo $! > left\""_s.arg(m_scratch.directory()));
    noted(u"ready"_s);
    ::kill(pid_t(noted(u"parent"_s)), SIGTERM);
    EXPECT_EQ(end(process).status, SIGTERM);
    for (const QString &name : {u"left"_s, u"away"_s, u"group"_s}) {
        ASSERT_GT(noted(name), 0);
        EXPECT_FALSE(isAlive(noted(name))) << name.toStdString();
    }
    EXPECT_TRUE(isAlive(noted(u"opened"_s)));
    ::kill(pid_t(noted(u"opened"_s)), SIGKILL);
}

TEST_F(Osascript, AScriptDoesNotGoOnWhenItIsEndedInItsShell) {
    const auto process = start({u"-e"_s, u"try"_s, u"-e"_s, shellNoting(u"sleep 600; true"_s), u"-e"_s, u"end try"_s,
                                u"-e"_s, u"do shell script \"touch '%1'\""_s.arg(m_scratch.path(u"went on"_s))});
    noted(u"shell"_s);
    ::kill(pid_t(noted(u"parent"_s)), SIGTERM);
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_FALSE(QFile::exists(m_scratch.path(u"went on"_s)));
}

TEST_F(Osascript, EndsInAnEndlessLoopAndInADelay) {
    for (const QString &text : {u"repeat\nend repeat"_s, u"delay 600"_s}) {
        const auto process = start({u"-e"_s, u"log \"on\""_s, u"-e"_s, text});
        process->terminate();
        EXPECT_EQ(end(process).status, SIGTERM) << text.toStdString();
    }
}

TEST_F(Osascript, LoadsNoGraphicsBeforeAScriptNeedsThem) {
    const auto file = m_scratch.path(u"maps"_s);
    const auto outcome = script(u"do shell script \"cat /proc/$PPID/maps > '%1'\""_s.arg(file));
    ASSERT_EQ(outcome.status, 0) << outcome;
    const auto maps = contents(file);
    ASSERT_TRUE(maps.contains("osascript"));
    ASSERT_TRUE(maps.contains("libQt6Core"));
    for (const char *library :
         {"libX11", "libxcb", "libQt6Gui", "libQt6Widgets", "libQt6DBus", "libgio", "libxkbcommon"})
        EXPECT_FALSE(maps.contains(library)) << library;
}

// --- without a display ---

class WithoutADisplay : public Osascript, public testing::WithParamInterface<const char *> {};

TEST_P(WithoutADisplay, WhatNeedsOneIsAClearError) {
    allow(m_scratch.directory(), {u"System Events"_s});
    const auto outcome = script(QString::fromUtf8(GetParam()));
    EXPECT_EQ(outcome.status, 1) << outcome;
    EXPECT_EQ(outcome.out, "") << outcome;
    static const QRegularExpression form(u"^\\d+:\\d+: execution error: .*\\S.* \\(-\\d+\\)\\n$"_s);
    EXPECT_TRUE(form.match(QString::fromUtf8(outcome.err)).hasMatch()) << outcome;
    EXPECT_FALSE(outcome.err.contains("(-1743)")) << outcome;
}

INSTANTIATE_TEST_SUITE_P(
    Commands, WithoutADisplay,
    testing::Values("tell application \"System Events\" to keystroke \"a\"",
                    "tell application \"System Events\" to keystroke \"s\" using {command down, shift down}",
                    "tell application \"System Events\" to key code 36",
                    "tell application \"System Events\" to key down shift",
                    "tell application \"System Events\" to key up shift",
                    "tell application \"System Events\" to click at {10, 10}",
                    "tell application \"System Events\" to get name of every process",
                    "tell application \"System Events\" to get name of first process whose frontmost is true",
                    "tell application \"System Events\" to get position of window 1 of process 1", "the clipboard",
                    "set the clipboard to \"x\"", "display dialog \"Hello\"", "display alert \"Hello\"",
                    "tell application \"No Such Application\" to activate"));

TEST_F(Osascript, WithoutADisplayTheRestWorks) {
    allow(m_scratch.directory(), {u"System Events"_s});
    EXPECT_EQ(script(u"tell application \"System Events\" to return name"_s).out, "System Events\n");
    EXPECT_EQ(script(u"application \"System Events\" is running"_s).out, "true\n");
    EXPECT_EQ(script(u"POSIX path of (path to home folder)"_s).out.trimmed(), m_scratch.directory().toUtf8() + "/");
    EXPECT_EQ(
        script(u"try\ntell application \"System Events\" to key code 36\non error number n\nreturn n < 0\nend try"_s)
            .out,
        "true\n");
}
