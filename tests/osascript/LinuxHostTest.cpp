// What a script can do to this computer without a desktop.

#include "osascript/LinuxHost.h"

#include "base/Process.h"
#include "tests/support/Consent.h"
#include "tests/support/Processes.h"
#include "tests/support/RefusedCall.h"
#include "tests/support/Variable.h"

#include <sys/stat.h>

using namespace ombru;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

// As a script works a facet: it is asked for first, and may not be there.
template <class Facet, class Operation>
auto with(Result<Facet> facet, Operation operation) -> std::invoke_result_t<Operation, Facet> {
    if (!facet)
        return std::unexpected(facet.error());
    return operation(std::move(*facet));
}

class LinuxHostTest : public ::testing::Test {
protected:
    ShellOutcome shell(const QString &command) {
        const auto outcome = host.system().shell(command);
        EXPECT_TRUE(outcome) << outcome.error().description.toStdString();
        return outcome.value_or(ShellOutcome{-1, {}, {}});
    }
    test::Scratch scratch;
    test::Variable display{"DISPLAY"};
    test::Variable home{"HOME", scratch.directory().toUtf8()};
    LinuxHost host;
};

} // namespace

TEST_F(LinuxHostTest, TheShellGivesBothStreamsAndItsStatus) {
    const auto outcome = shell(u"printf 'ö\\n'; echo no >&2; exit 3"_s);
    EXPECT_EQ(outcome.out, "ö\n");
    EXPECT_EQ(outcome.err, "no\n");
    EXPECT_EQ(outcome.status, 3);
}

TEST_F(LinuxHostTest, TheShellHasNothingToRead) {
    EXPECT_EQ(shell(u"cat; echo end"_s).out, "end\n");
}

TEST_F(LinuxHostTest, ASignalledShellHasTheShellsOwnStatusForIt) {
    EXPECT_EQ(shell(u"kill -TERM $$"_s).status, 143);
}

TEST_F(LinuxHostTest, AShellThatCannotBeWatchedIsEndedAndNotWaitedForInVain) {
    test::withoutCall(SYS_pidfd_open, EMFILE, [this] {
        const auto outcome = host.system().shell(u"exec sleep 600"_s);
        ASSERT_FALSE(outcome);
        EXPECT_EQ(outcome.error().code, EMFILE) << outcome.error().description.toStdString();
    });
}

TEST_F(LinuxHostTest, FiftyMegabytesOnEachStreamArrive) {
    const auto outcome = shell(u"head -c 50000000 /dev/zero >&2 & head -c 50000000 /dev/zero; wait"_s);
    EXPECT_EQ(outcome.out.size(), 50'000'000);
    EXPECT_EQ(outcome.err.size(), 50'000'000);
}

TEST_F(LinuxHostTest, AJobLeftInTheBackgroundIsNotWaitedForAndNotEnded) {
    const auto outcome =
        shell(u"sleep 1000 & echo $! >pid; echo started"_s.replace(u"pid;"_s, scratch.path(u"pid"_s) + u";"_s));
    EXPECT_EQ(outcome.out, "started\n");
    const auto pid = test::pidIn(scratch.path(u"pid"_s));
    EXPECT_TRUE(test::isAlive(pid));
    ::kill(pid_t(pid), SIGKILL);
}

TEST_F(LinuxHostTest, ClosedStreamsAreNoEnd) {
    EXPECT_EQ(shell(u"exec >&- 2>&-; sleep 0.1; exit 4"_s).status, 4);
}

TEST_F(LinuxHostTest, LeavesNoDescriptorBehind) {
    shell(u"true"_s);
    const auto before = test::openDescriptors();
    for (int run = 0; run < 20; ++run)
        shell(u"true"_s);
    EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(LinuxHostTest, FoldersAreTheOwners) {
    scratch.write(u"user-dirs.dirs"_s, "");
    EXPECT_EQ(host.system().path(Folder::home), scratch.directory());
    EXPECT_TRUE(host.system().path(Folder::desktop).startsWith(scratch.directory()));
    EXPECT_FALSE(host.system().path(Folder::temporary).isEmpty());
}

TEST_F(LinuxHostTest, SystemEventsIsAlwaysKnownAndRunning) {
    const auto named = host.applications().applicationNamed(u"system events"_s);
    ASSERT_TRUE(named);
    EXPECT_EQ(named->id, u"com.apple.systemevents"_s);
    EXPECT_EQ(named->name, u"System Events"_s);
    EXPECT_EQ(host.applications().applicationWithId(u"com.apple.systemevents"_s), named);
    EXPECT_TRUE(host.applications().isRunning(named->id));
    EXPECT_TRUE(host.applications().activate(named->id));
}

TEST_F(LinuxHostTest, WithoutADisplayEveryDesktopOperationSaysSo) {
    using Changing = Held<Windows>;
    using Typing = Held<Input>;
    const std::vector<Result<>> results{
        with(host.input(), [](Typing &&input) { return std::move(input)->type(u"x"_s, 0); }),
        with(host.input(), [](Typing &&input) { return std::move(input)->pressKey(36, 0); }),
        with(host.input(), [](Typing &&input) { return std::move(input)->holdKey(36, true); }),
        with(host.input(), [](Typing &&input) { return std::move(input)->holdModifier(Modifier::shift, true); }),
        with(host.input(), [](Typing &&input) { return std::move(input)->click({1, 1}, Click::single, 0); }),
        with(host.clipboard(), [](auto *clipboard) { return clipboard->setText(u"x"_s); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->raiseWindow(1); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->closeWindow(1); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->setMinimized(1, true); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->moveWindow(1, {0, 0}); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->resizeWindow(1, {9, 9}); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->bringToFront(1); }),
        with(host.windowsToChange(), [](Changing &&all) { return std::move(all)->setVisible(1, true); })};
    for (const auto &result : results) {
        ASSERT_FALSE(result);
        EXPECT_FALSE(result.error().description.isEmpty());
        EXPECT_LT(result.error().code, 0);
    }
    EXPECT_FALSE(with(host.windows(), [](const auto *all) { return all->processes(); }));
    EXPECT_FALSE(with(host.windows(), [](const auto *all) { return all->windows(1); }));
    EXPECT_FALSE(host.clipboard());
    EXPECT_FALSE(host.applications().isFrontmost(u"x"_s));
    DialogRequest request;
    request.text = u"Hello?"_s;
    request.buttons = {u"OK"_s};
    const auto asked = host.dialogs().ask(request);
    ASSERT_FALSE(asked);
    EXPECT_EQ(asked.error().code, -1713);
}

TEST_F(LinuxHostTest, AnAddressNobodyOpensIsSaid) {
    const test::Variable path("PATH", scratch.directory().toUtf8());
    const test::Variable display("DISPLAY", ":0");
    const auto opened = host.applications().openLocation(u"no-such-scheme:thing"_s);
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error().description.contains(u"no-such-scheme:thing"_s));
    EXPECT_FALSE(host.applications().openLocation(u"not an address"_s));
}

TEST_F(LinuxHostTest, WithoutADisplayNoAddressCountsAsOpened) {
    const test::Variable display("DISPLAY");
    const test::Variable wayland("WAYLAND_DISPLAY");
    const auto opened = host.applications().openLocation(u"https://example.org"_s);
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error().description.startsWith(u"There is no display to open “https://example.org” on."_s));
}

TEST_F(LinuxHostTest, AJobThatNeverStopsWritingIsNotWaitedFor) {
    const auto outcome = shell(u"yes & echo $! >'%1'"_s.arg(scratch.path(u"pid"_s)));
    EXPECT_EQ(outcome.status, 0);
    const auto pid = test::pidIn(scratch.path(u"pid"_s));
    ASSERT_GT(pid, 0);
    ::kill(pid_t(pid), SIGKILL);
}

class OpeningFiles : public LinuxHostTest {
protected:
    // An application that writes down what it was told to open.
    void install(const QString &id, const QByteArray &lines) {
        const auto program =
            scratch.script(id, "printf '%s\\n' \"$@\" >'" + scratch.path(id).toUtf8() + ".new'; mv '" +
                                   scratch.path(id).toUtf8() + ".new' '" + scratch.path(id).toUtf8() + ".opened'");
        addEntry(id, program + u" %F"_s, lines);
    }
    void addEntry(const QString &id, const QString &exec, const QByteArray &lines) {
        QDir().mkpath(scratch.path(u"applications"_s));
        scratch.write(u"applications/%1.desktop"_s.arg(id), "[Desktop Entry]\nType=Application\nName=" + id.toUtf8() +
                                                                "\nExec=" + exec.toUtf8() + '\n' + lines);
    }
    // While that application is.
    void expectRefused(const QString &address, const QString &application) {
        test::decide(scratch.directory(), askingClient().id, {application}, false);
        const auto refused = host.applications().openLocation(address);
        ASSERT_FALSE(refused) << application.toStdString();
        EXPECT_EQ(refused.error().description, notAllowed(application).description);
        test::decide(scratch.directory(), askingClient().id, {application}, true);
    }
    QByteArray opened(const QString &id) {
        const auto file = scratch.path(id + u".opened"_s);
        EXPECT_TRUE(test::waitUntil([&] { return QFile::exists(file); })) << id.toStdString();
        return test::contents(file);
    }
    void SetUp() override {
        install(u"files"_s, "MimeType=inode/directory;\nCategories=FileManager;\n");
        install(u"editor"_s, "MimeType=text/plain;\nCategories=TextEditor;\n");
    }
    test::Variable data{"XDG_DATA_HOME", scratch.directory().toUtf8()};
    test::Variable system{"XDG_DATA_DIRS", "/usr/share"}; // has the types of files
    test::Variable config{"XDG_CONFIG_HOME", scratch.directory().toUtf8()};
};

TEST_F(OpeningFiles, AnApplicationGetsTheFiles) {
    const auto one = scratch.write(u"one.txt"_s, "1");
    const auto two = scratch.write(u"two words.txt"_s, "2");
    ASSERT_TRUE(host.applications().open(u"editor"_s, {one, two}));
    EXPECT_EQ(opened(u"editor"_s), (one + u'\n' + two + u'\n').toUtf8());
}

TEST_F(OpeningFiles, AnAddressStartsItsApplicationUnlessThatWasRefused) {
    const test::Variable display("DISPLAY", ":0");
    install(u"notes"_s, "MimeType=x-scheme-handler/notes;\n");
    ASSERT_TRUE(host.applications().openLocation(u"notes:one"_s));
    EXPECT_EQ(opened(u"notes"_s), "notes:one\n");
    QFile::remove(scratch.path(u"notes.opened"_s));
    test::decide(scratch.directory(), askingClient().id, {u"notes"_s}, false);
    for (const auto &address : {u"notes:two"_s, u"NOTES:two"_s}) {
        const auto refused = host.applications().openLocation(address);
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().code, -1743);
        EXPECT_EQ(refused.error().description, notAllowed(u"notes"_s).description);
    }
    EXPECT_FALSE(QFile::exists(scratch.path(u"notes.opened"_s)));
}

TEST_F(OpeningFiles, AnAddressStartsNoOtherEntryOfAProgramThatWasRefused) {
    const test::Variable display("DISPLAY", ":0");
    install(u"notes"_s, {});
    ASSERT_TRUE(QFile::link(scratch.path(u"notes"_s), scratch.path(u"link"_s)));
    for (const auto &file : {u"notes"_s, u"link"_s}) {
        addEntry(u"other"_s, scratch.path(file) + u" --new %U"_s, "MimeType=x-scheme-handler/notes;\n");
        ASSERT_TRUE(host.applications().openLocation(u"notes:one"_s));
        EXPECT_EQ(opened(u"notes"_s), "--new\nnotes:one\n");
        QFile::remove(scratch.path(u"notes.opened"_s));
        expectRefused(u"notes:two"_s, u"notes"_s);
    }
    EXPECT_FALSE(QFile::exists(scratch.path(u"notes.opened"_s)));
}

TEST_F(OpeningFiles, NothingChoosesAmongProgramsOfWhichOneWasRefused) {
    const test::Variable display("DISPLAY", ":0");
    const test::Variable path("PATH", scratch.directory().toUtf8() + ":/usr/bin:/bin");
    const test::Variable none("XDG_DATA_DIRS", scratch.path(u"none"_s).toUtf8());
    const test::Variable browser("BROWSER", "lynx:" + scratch.path(u"reader"_s).toUtf8() + " %s");
    install(u"web"_s, "Categories=WebBrowser;\n");
    install(u"pages"_s, "MimeType=text/html;\n");
    install(u"post"_s, "Categories=Email;\n");
    install(u"reader"_s, {});
    install(u"chosen"_s, {});
    for (const auto &opener : {u"xdg-open"_s, u"exo-open"_s}) {
        ASSERT_TRUE(QFile::link(scratch.path(u"chosen"_s), scratch.path(opener)));
        if (opener == u"exo-open"_s)
            addEntry(opener, opener, "MimeType=x-scheme-handler/https;x-scheme-handler/mailto;\n");
        for (const auto &application : {u"web"_s, u"pages"_s, u"reader"_s})
            expectRefused(u"https://a"_s, application);
        expectRefused(u"mailto:a"_s, u"post"_s);
        test::decide(scratch.directory(), askingClient().id, {u"post"_s, u"editor"_s}, false);
        ASSERT_TRUE(host.applications().openLocation(u"https://b"_s)) << "neither opens such addresses";
        EXPECT_EQ(opened(u"chosen"_s), "https://b\n");
        QFile::remove(scratch.path(u"chosen.opened"_s));
    }
}

TEST_F(LinuxHostTest, OnlyTheWebAndMailGoToAGeneralOpener) {
    const test::Variable display("DISPLAY", ":0");
    const test::Variable path("PATH", scratch.directory().toUtf8() + ":/usr/bin:/bin");
    const test::Variable data("XDG_DATA_HOME", scratch.directory().toUtf8());
    const test::Variable system("XDG_DATA_DIRS", scratch.path(u"none"_s).toUtf8());
    scratch.script(u"xdg-open"_s, "echo \"$1\" >>'" + scratch.path(u"opened"_s).toUtf8() + "'");
    ASSERT_FALSE(host.applications().openLocation(u"steam:run"_s));
    QByteArray all;
    for (const auto &address : {u"http://a"_s, u"https://b"_s, u"mailto:c"_s}) {
        ASSERT_TRUE(host.applications().openLocation(address));
        all += address.toUtf8() + '\n';
        EXPECT_TRUE(test::waitUntil([&] { return test::contents(scratch.path(u"opened"_s)) == all; }));
    }
}

TEST_F(OpeningFiles, AFileThatIsNotThereIsSaid) {
    const auto result = host.applications().open(u"editor"_s, {u"/no/such/file"_s});
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, -43);
    EXPECT_EQ(result.error().description, u"File /no/such/file wasn’t found."_s);
}

TEST_F(OpeningFiles, WhatIsNoFullPathIsNoFile) {
    scratch.write(u"+one.txt"_s, "1");
    const QDir before = QDir::current();
    ASSERT_TRUE(QDir::setCurrent(scratch.directory()));
    for (const auto &path : {u"+one.txt"_s, u"+!touch one"_s, u"--help"_s, u"https://example.org"_s, u""_s, u"."_s,
                             scratch.path(u"+one.txt"_s) + QChar(0), u"/dev/null"_s}) {
        for (const auto &application : {u"editor"_s, u"files"_s}) {
            const auto result = host.applications().open(application, {path});
            ASSERT_FALSE(result) << path.toStdString();
            EXPECT_EQ(result.error().code, -43);
        }
    }
    QDir::setCurrent(before.path());
    EXPECT_FALSE(QFile::exists(scratch.path(u"editor.opened"_s)));
}

TEST_F(OpeningFiles, WhatNeverEndsOrMakesItsReaderWaitIsNotLookedInto) {
    const auto pipe = scratch.path(u"pipe.txt"_s);
    ASSERT_EQ(::mkfifo(qPrintable(pipe), 0600), 0);
    for (const auto &path :
         {pipe, u"/dev/zero"_s, u"/proc/self/status"_s, u"/sys/kernel/mm/transparent_hugepage/enabled"_s}) {
        if (!QFile::exists(path))
            continue;
        const auto opener = host.applications().openerOf(path);
        ASSERT_FALSE(opener) << path.toStdString();
        EXPECT_EQ(opener.error().description,
                  path + u" is neither a document nor a folder; scripts open only those."_s);
        EXPECT_FALSE(host.applications().open(u"editor"_s, {path}));
    }
    EXPECT_TRUE(host.applications().openerOf(u"/proc/self"_s)) << "a folder";
}

TEST_F(OpeningFiles, ADocumentHasTheApplicationOfItsKind) {
    const auto opener = host.applications().openerOf(scratch.write(u"one.txt"_s, "1"));
    ASSERT_TRUE(opener);
    EXPECT_EQ(opener->id, u"editor"_s);
    const auto manager = host.applications().openerOf(scratch.directory());
    ASSERT_TRUE(manager);
    EXPECT_EQ(manager->id, u"files"_s);
    EXPECT_EQ(host.applications().openerOf(scratch.path(u"none.txt"_s)).error().code, -43);
    EXPECT_EQ(host.applications().openerOf(scratch.write(u"one.flac"_s, "fLaC")).error().code, -10814);
}

TEST_F(OpeningFiles, AProgramHasNone) {
    const auto entry = scratch.write(u"it.desktop"_s, "[Desktop Entry]\nType=Application\nName=It\nExec=true\n");
    for (const auto &program : {entry, scratch.write(u"it.txt"_s, "#!/bin/sh\ntrue\n")}) {
        const auto opener = host.applications().openerOf(program);
        ASSERT_FALSE(opener);
        EXPECT_EQ(opener.error().description, program + u" is a program; scripts open documents and folders."_s);
        EXPECT_FALSE(host.applications().open(u"files"_s, {program}));
    }
    EXPECT_FALSE(QFile::exists(scratch.path(u"files.opened"_s)));
    EXPECT_FALSE(QFile::exists(scratch.path(u"editor.opened"_s)));
}

TEST_F(LinuxHostTest, AFileIsNoAddressForAGeneralOpener) {
    const test::Variable display("DISPLAY", ":0");
    const test::Variable path("PATH", scratch.directory().toUtf8());
    const auto opener = scratch.script(u"xdg-open"_s, "touch '" + scratch.path(u"opened"_s).toUtf8() + "'");
    EXPECT_FALSE(host.applications().openLocation(u"file:///etc/hosts"_s));
    EXPECT_FALSE(host.applications().openLocation(u"FILE:/etc/hosts"_s));
    EXPECT_FALSE(QFile::exists(scratch.path(u"opened"_s)));
}

TEST_F(LinuxHostTest, ADialogsTitleBeginsWithWhoseScriptItIs) {
    EXPECT_EQ(dialogTitle(u"com.ombru.mac"_s, {}), u"Script of ombru"_s);
    EXPECT_EQ(dialogTitle(u"/usr/bin/xterm"_s, u"Backup"_s), u"Script of xterm: Backup"_s);
    EXPECT_EQ(dialogTitle(u"/usr/bin/xterm"_s, u"ombru: allow control of Mail?"_s),
              u"Script of xterm: ombru: allow control of Mail?"_s);
    EXPECT_EQ(dialogTitle(u"/home/me/ombru"_s, u"a\nb"_s), u"Script of /home/me/ombru: a b"_s);
}

TEST_F(LinuxHostTest, QuittingWhatDoesNotRunIsNothingToDo) {
    EXPECT_TRUE(host.applications().quit(u"no.such.application"_s));
}

TEST_F(OpeningFiles, AFileManagerShowsFoldersAndOpensFilesWithTheirApplication) {
    test::allow(scratch.directory(), {u"editor"_s}, askingClient().id);
    const auto file = scratch.write(u"one.txt"_s, "1");
    ASSERT_TRUE(host.applications().open(u"com.apple.finder"_s, {file, scratch.directory()}));
    EXPECT_EQ(opened(u"editor"_s), file.toUtf8() + '\n');
    EXPECT_EQ(opened(u"files"_s), scratch.directory().toUtf8() + '\n');
}

TEST_F(OpeningFiles, AFileManagerOpensNothingInAnApplicationThatIsRefused) {
    test::decide(scratch.directory(), askingClient().id, {u"editor"_s}, false);
    const auto result = host.applications().open(u"files"_s, {scratch.write(u"one.txt"_s, "1")});
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, -1743);
    EXPECT_FALSE(QFile::exists(scratch.path(u"editor.opened"_s)));
}

TEST_F(LinuxHostTest, WhatRunsOnAnotherDisplayDoesNotRunHere) {
    const auto program = scratch.path(u"ombru-test-program"_s);
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
    QDir().mkpath(scratch.path(u"applications"_s));
    scratch.write(u"applications/it.desktop"_s,
                  "[Desktop Entry]\nType=Application\nName=It\nExec=" + program.toUtf8() + "\n");
    const test::Variable data("XDG_DATA_HOME", scratch.directory().toUtf8());
    EXPECT_FALSE(host.applications().isRunning(u"it"_s));

    const test::Variable there("DISPLAY", ":5077.0");
    const auto process = Process::make({.program = program, .arguments = {u"600"_s}});
    ASSERT_TRUE(process->start());
    // The system shows a new program's variables a moment after it began.
    EXPECT_TRUE(test::waitUntil([&] { return host.applications().isRunning(u"it"_s); }));
    const test::Variable sameScreen("DISPLAY", ":5077");
    EXPECT_TRUE(host.applications().isRunning(u"it"_s));
    const test::Variable here("DISPLAY", ":5078");
    EXPECT_FALSE(host.applications().isRunning(u"it"_s));
    process->terminate();
    test::await(process->ended());
}
