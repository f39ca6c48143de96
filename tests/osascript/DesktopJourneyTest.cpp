// Scripts that work a real editor in a real desktop: what they did is on the disk.
#include "base/Process.h"
#include "platform/linux/x11/Display.h"
#include "tests/support/Consent.h"
#include "tests/support/Outcome.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<Process> start(const QString &script) {
    auto process = Process::make({.program = qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s,
                                  .arguments = {u"-"_s},
                                  .input = script.toUtf8()});
    const auto started = process->start();
    EXPECT_TRUE(started) << started.error().description.toStdString();
    return process;
}

Outcome end(const std::shared_ptr<Process> &process) {
    await(process->ended());
    return {process->status(), QString::fromUtf8(process->takeOutput()).trimmed(),
            QString::fromUtf8(process->takeErrors()).trimmed()};
}

// The result of a script that must not fail.
QString run(const QString &script) {
    const auto outcome = end(start(script));
    EXPECT_EQ(outcome.status, 0) << script.toStdString() << "\n" << outcome.err.toStdString();
    return outcome.out;
}

QString systemEvents(const QString &statements) {
    return u"tell application \"System Events\"\n"_s + statements + u"\nend tell"_s;
}

class DesktopJourney : public testing::Test {
protected:
    DesktopJourney() { allow(m_data, {u"System Events"_s, u"TextEdit"_s, u"XTerm"_s}); }

    // Opens a new file in the editor, in front.
    QString edit(const QByteArray &text) {
        const auto file = m_scratch.write(u"file %1.txt"_s.arg(++m_files), text);
        run(u"tell application \"TextEdit\"\nopen POSIX file \"%1\"\nactivate\nend tell"_s.arg(file));
        return file;
    }
    static bool becomes(const QString &file, const QByteArray &text) {
        return waitUntil([&] { return contents(file) == text; });
    }
    // Whatever a test left unsaved, the next one begins without an editor.
    void TearDown() override {
        const auto pids =
            run(systemEvents(u"set ids to {}\nrepeat with p in processes\nset end of ids to unix id of p\n"
                             "end repeat\nreturn ids"_s));
        for (const QString &pid : pids.split(u", "_s, Qt::SkipEmptyParts)) {
            ::kill(pid.toInt(), SIGTERM);
            EXPECT_TRUE(waitUntil([&] { return !isAlive(pid.toInt()); }));
        }
    }

    const QString m_data = qEnvironmentVariable("XDG_DATA_HOME"); // of the private desktop
    Scratch m_scratch;
    int m_files = 0;
};

} // namespace

TEST_F(DesktopJourney, AHaikuIsTypedIntoAnEditorAndSaved) {
    const auto file = edit("");
    run(systemEvents(u"keystroke \"Rain on the old roof —\" & return\n"
                     "keystroke \"täglich дождь, 雨の音 🌧\"\n"
                     "key code 36\n"
                     "keystroke \"it says: \\\"stay\\\".\"\n"
                     "keystroke \"s\" using command down"_s));
    EXPECT_TRUE(becomes(file, "Rain on the old roof —\ntäglich дождь, 雨の音 🌧\nit says: \"stay\"."))
        << contents(file).toStdString();
}

TEST_F(DesktopJourney, EveryShortcutArrives) {
    const auto file = edit("");
    QByteArray text;
    for (int time = 0; time < 10; ++time) {
        text += "again ";
        run(systemEvents(u"keystroke \"again \"\nkeystroke \"s\" using {command down}"_s));
        ASSERT_TRUE(becomes(file, text)) << time << ": " << contents(file).toStdString();
    }
}

TEST_F(DesktopJourney, CopyAndPasteGoThroughTheClipboard) {
    const auto file = edit("");
    run(u"set the clipboard to \"pasted ü 🌧\""_s);
    // The text comes from another program and arrives when it does: an editor saves what it has.
    run(systemEvents(u"keystroke \"v\" using command down\n"
                     "repeat until name of window 1 of process \"Mousepad\" begins with \"*\"\n"
                     "delay 0.05\n"
                     "end repeat\n"
                     "keystroke \"s\" using command down"_s));
    EXPECT_TRUE(becomes(file, "pasted ü 🌧")) << contents(file).toStdString();
    run(systemEvents(u"keystroke \"a\" using command down\nkeystroke \"c\" using command down"_s));
    EXPECT_EQ(run(u"the clipboard"_s), u"pasted ü 🌧"_s);
}

TEST_F(DesktopJourney, AnApplicationIsSeenToRunAndToQuit) {
    EXPECT_EQ(run(u"application \"TextEdit\" is running"_s), u"false"_s);
    edit("text");
    EXPECT_EQ(run(u"application \"TextEdit\" is running"_s), u"true"_s);
    EXPECT_EQ(run(u"tell application \"TextEdit\" to get frontmost"_s), u"true"_s);
    EXPECT_EQ(run(u"get name of application \"TextEdit\""_s), u"Mousepad"_s);
    EXPECT_EQ(run(systemEvents(u"name of first process whose frontmost is true"_s)), u"Mousepad"_s);
    run(u"tell application \"TextEdit\" to quit"_s);
    EXPECT_EQ(run(systemEvents(u"exists process \"Mousepad\""_s)), u"false"_s);
}

TEST_F(DesktopJourney, ALaunchLeavesTheFocusWhereItIs) {
    run(u"tell application \"XTerm\" to activate"_s);
    EXPECT_EQ(run(systemEvents(u"name of first process whose frontmost is true"_s)), u"XTerm"_s);
    run(u"tell application \"TextEdit\" to launch"_s);
    EXPECT_EQ(run(systemEvents(u"exists process \"Mousepad\""_s)), u"true"_s);
    EXPECT_EQ(run(systemEvents(u"name of first process whose frontmost is true"_s)), u"XTerm"_s);
    run(u"tell application \"TextEdit\" to activate"_s);
    EXPECT_EQ(run(systemEvents(u"name of first process whose frontmost is true"_s)), u"Mousepad"_s);
}

TEST_F(DesktopJourney, AWindowThatOnlyCallsItselfTheApplicationsIsNotActivated) {
    auto disguised = Process::make({.program = u"/usr/bin/xterm"_s,
                                    .arguments = {u"-class"_s, u"Mousepad"_s, u"-name"_s, u"mousepad"_s, u"-e"_s,
                                                  u"echo > '%1'; sleep 338"_s.arg(m_scratch.path(u"shown"_s))}});
    ASSERT_TRUE(disguised->start());
    EXPECT_EQ(run(systemEvents(u"repeat until exists process \"Mousepad\"\ndelay 0.05\nend repeat\n"
                               "return name of first process whose frontmost is true"_s)),
              u"Mousepad"_s);
    decide(m_data, QCoreApplication::applicationFilePath(), {u"XTerm"_s}, false);
    const auto outcome = end(start(u"tell application \"TextEdit\" to activate"_s));
    EXPECT_TRUE(outcome.err.contains(u"XTerm"_s) && outcome.err.endsWith(u"(-1743)"_s)) << outcome.err.toStdString();
    allow(m_data, {u"XTerm"_s});
    EXPECT_EQ(end(start(u"tell application \"TextEdit\" to activate"_s)).status, 0);
    disguised->terminate();
    await(disguised->ended());
}

TEST_F(DesktopJourney, WhatTheOwnerRefusesMeanwhileStopsAtTheNextEvent) {
    const auto file = edit("");
    const auto go = m_scratch.path(u"go"_s);
    const auto process = start(systemEvents(u"keystroke \"one\"\nkeystroke \"s\" using command down\nlog \"typed\"\n"
                                            "do shell script \"until [ -e '%1' ]; do sleep 0.05; done\"\n"
                                            "keystroke \"two\"\nkeystroke \"s\" using command down"_s.arg(go)));
    ASSERT_TRUE(becomes(file, "one"));
    decide(m_data, QCoreApplication::applicationFilePath(), {u"System Events"_s}, false);
    m_scratch.write(u"go"_s, "");
    const auto outcome = end(process);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(
        outcome.err.endsWith(u"execution error: Not authorized to send Apple events to System Events. (-1743)"_s))
        << outcome.err.toStdString();
    EXPECT_EQ(contents(file), "one");
    allow(m_data, {u"System Events"_s});
}

TEST_F(DesktopJourney, AWindowIsMovedAndMeasured) {
    edit("text");
    run(systemEvents(
        u"tell window 1 of process \"Mousepad\"\nset position to {120, 90}\nset size to {500, 400}\nend tell"_s));
    EXPECT_EQ(run(systemEvents(u"get position of window 1 of process \"Mousepad\""_s)), u"120, 90"_s);
    EXPECT_EQ(run(systemEvents(u"get size of window 1 of process \"Mousepad\""_s)), u"500, 400"_s);
    EXPECT_TRUE(run(systemEvents(u"get name of window 1 of process \"Mousepad\""_s)).contains(u"file 1.txt"_s));
}

TEST_F(DesktopJourney, KeysThatAreHeldAreLetGoWhenTheScriptIsEnded) {
    const auto isShiftDown = [] {
        const auto display = Display::open();
        if (!display)
            return false;
        const Reply<xcb_query_keymap_reply_t> keys(
            xcb_query_keymap_reply(display->connection(), xcb_query_keymap(display->connection()), nullptr));
        constexpr int LEFT_SHIFT = 50; // its code on every evdev keyboard
        return keys && (keys->keys[LEFT_SHIFT / 8] >> LEFT_SHIFT % 8 & 1) != 0;
    };
    const auto process = start(systemEvents(u"key down shift\ndelay 600"_s));
    ASSERT_TRUE(waitUntil(isShiftDown));
    process->terminate();
    EXPECT_EQ(end(process).status, SIGTERM);
    EXPECT_FALSE(isShiftDown());
}
