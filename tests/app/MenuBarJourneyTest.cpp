// The application in the menu bar, in the private desktop with a real host for icons, worked as its owner would.
#include "tests/app/MenuBarJourney.h"

#include "tests/support/Companion.h"
#include "tests/support/PersonsKeyboard.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QThread>

#include <sys/file.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

constexpr QPoint ON_A_WINDOW(400, 900);
constexpr QPoint ON_THE_DESKTOP(200, 200);

class MenuBar : public MenuBarJourney {
protected:
    static std::unique_ptr<Companion> host() {
        return std::make_unique<Companion>(
            QByteArrayList{"bash", "-c",
                           "echo started >&%fd; exec trayer --edge top --align right --widthtype request --height 24"},
            "trayer");
    }
    // The windows of icons that are embedded in the host.
    static std::vector<QRect> icons() {
        std::vector<QRect> found;
        for (const auto &id :
             outputOf({u"search"_s, u"--onlyvisible"_s, u"--classname"_s, u"ombru-menubar"_s}).split('\n')) {
            const auto place = placeOf(id);
            if (!id.isEmpty() && place.width() > 10 && place.width() <= 32)
                found.push_back(place);
        }
        return found;
    }
    static bool iconIsShown() {
        return waitUntil([] { return icons().size() == 1; });
    }
    static QPoint iconPlace() {
        std::vector<QRect> now;
        EXPECT_TRUE(waitUntil([&] { return (now = icons()).size() == 1; }));
        return now.empty() ? QPoint() : now.front().center();
    }
    // A click may come to where the icon was a moment ago, or too soon after the one that closed the panel.
    static void openPanel() {
        ASSERT_TRUE(waitUntil([] {
            click(iconPlace());
            for (QDeadlineTimer patience(3000); !patience.hasExpired(); QThread::msleep(20))
                if (isOpen(PANEL))
                    return true;
            return false;
        }));
        // One that has not got the focus yet has none to lose.
        EXPECT_TRUE(
            waitUntil([] { return outputOf({u"getactivewindow"_s, u"getwindowname"_s}).trimmed() == PANEL.toUtf8(); }));
    }

    // Whoever starts it sees why it does not, in a window, and it has ended once that is closed.
    bool complains(const QString &why) {
        const auto started = startMenuBar();
        const bool isSeen = opens(u"ombru"_s);
        press("Return");
        const auto finished = end(started);
        EXPECT_EQ(finished.status, 1);
        EXPECT_TRUE(finished.out.contains(why)) << finished.out.toStdString();
        return isSeen;
    }

    std::unique_ptr<Companion> m_host = host();
};

} // namespace

TEST_F(MenuBar, TheFirstStartShowsTheHintAndTheSecondOneNone) {
    launch();
    ASSERT_TRUE(opens(HINT));
    press("Return");
    EXPECT_TRUE(closes(HINT));
    EXPECT_TRUE(QFile::exists(m_scratch.path(u".config/autostart/ombru.desktop"_s)));
    EXPECT_TRUE(QFile::remove(m_scratch.path(u".config/autostart/ombru.desktop"_s)));
    killMenuBars(SIGTERM);
    EXPECT_EQ(end(m_menuBar).status, 0);
    launch();
    EXPECT_TRUE(iconIsShown());
    EXPECT_FALSE(isOpen(HINT));
    EXPECT_FALSE(QFile::exists(m_scratch.path(u".config/autostart/ombru.desktop"_s)));
}

TEST_F(MenuBar, AClickOnTheIconOpensThePanelBesideItAndAnotherClosesIt) {
    launchAgain();
    openPanel();
    EXPECT_GE(panelPlace().y(), iconPlace().y());
    EXPECT_LT(panelPlace().y(), iconPlace().y() + 40);
    click(iconPlace());
    EXPECT_TRUE(closes(PANEL));
}

TEST_F(MenuBar, EscapeClosesThePanelAndSoDoesAClickElsewhere) {
    const Companion other({"bash", "-c", "echo started >&%fd; exec xterm -geometry 60x20+300+800 -T other"}, "xterm");
    ASSERT_TRUE(opens(u"other"_s));
    launchAgain();
    openPanel();
    press("Escape");
    EXPECT_TRUE(closes(PANEL));
    openPanel();
    click(ON_A_WINDOW);
    EXPECT_TRUE(closes(PANEL));
    openPanel();
    runProgram("xdotool mousemove 200 200");
    const PersonsPointer pointer;
    pointer.press(1, true);
    pointer.press(1, false);
    EXPECT_TRUE(closes(PANEL));
}

TEST_F(MenuBar, WhileTheAgentWorksItsClicksLeaveThePanelOpen) {
    const auto claude = beginTask();
    openPanel();
    const Companion other({"bash", "-c", "echo started >&%fd; exec xterm -geometry 60x20+300+800 -T other"}, "xterm");
    ASSERT_TRUE(opens(u"other"_s));
    click(ON_A_WINDOW);
    click(ON_THE_DESKTOP);
    EXPECT_TRUE(isOpen(PANEL));
    EXPECT_EQ(ombru({u"stop"_s}).status, 0);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claude); }));
}

TEST_F(MenuBar, TheKeyboardAloneSignsOut) {
    launchAgain();
    ASSERT_TRUE(connected());
    openPanel();
    press("Up"); // the last one
    press("Up");
    press("Return");
    EXPECT_TRUE(waitUntil([&] { return !QFile::exists(token()); }));
}

TEST_F(MenuBar, QuitEndsTheApplication) {
    launchAgain();
    openPanel();
    press("Up"); // the last one
    press("Return");
    EXPECT_EQ(end(m_menuBar).status, 0);
}

TEST_F(MenuBar, ATaskOfTheWebPageIsStoppedByTheFirstButton) {
    const auto claude = beginTask();
    openPanel();
    press("Tab");
    press("space");
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claude); }));
}

TEST_F(MenuBar, AnotherStartShowsTheHintOfTheOneThatRuns) {
    launchAgain();
    ASSERT_TRUE(iconIsShown());
    EXPECT_EQ(end(startMenuBar()).status, 0);
    EXPECT_TRUE(opens(HINT));
    press("Return");
    EXPECT_TRUE(closes(HINT));
    EXPECT_EQ(end(startMenuBar()).status, 0);
    EXPECT_TRUE(opens(HINT));
}

TEST_F(MenuBar, TenStartsAtOnceAreOneApplication) {
    launchAgain();
    std::vector<std::shared_ptr<Process>> others;
    for (int number = 0; number < 9; ++number)
        others.push_back(startMenuBar());
    EXPECT_TRUE(waitUntil([&] { return menuBars().size() == 1; }));
    EXPECT_TRUE(iconIsShown());
    killMenuBars(SIGTERM);
    int ended = 0;
    for (const auto &other : others)
        ended += end(other).status == 0;
    EXPECT_EQ(ended, 9);
    EXPECT_EQ(end(m_menuBar).status, 0);
}

TEST_F(MenuBar, AKilledOneIsStartedAgain) {
    launchAgain();
    ASSERT_TRUE(iconIsShown());
    killMenuBars(SIGKILL);
    EXPECT_EQ(end(m_menuBar).status, SIGKILL);
    EXPECT_TRUE(waitUntil([] { return icons().empty(); }));
    launchAgain();
    openPanel();
}

TEST_F(MenuBar, WithoutAPlaceForIconsACommandOpensThePanel) {
    m_host.reset();
    launchAgain();
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(socket()); }));
    EXPECT_EQ(ombru({u"panel"_s}).status, 0);
    EXPECT_TRUE(opens(PANEL));
}

TEST_F(MenuBar, WithoutAPlaceForIconsTheStartOpensThePanel) {
    m_host.reset();
    launchAgain();
    EXPECT_TRUE(opens(PANEL));
}

TEST_F(MenuBar, WithoutAPlaceForIconsNoWindowComesAtLogin) {
    constexpr int LONGER = 7'000; // milliseconds: than it waits for a place
    m_host.reset();
    launchAgain({u"--at-login"_s});
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(socket()); }));
    QElapsedTimer running;
    running.start();
    EXPECT_FALSE(waitUntil([&] { return isOpen(PANEL) || running.hasExpired(LONGER); }) && isOpen(PANEL));
}

TEST_F(MenuBar, WithoutAPlaceForIconsAnotherStartOpensThePanel) {
    m_host.reset();
    launchAgain();
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(socket()); }));
    EXPECT_TRUE(waitUntil([&] {
        EXPECT_EQ(end(startMenuBar()).status, 0);
        return isOpen(PANEL); // the hint, while a place may still come
    }));
}

// One that holds the application's place and answers nobody, as an uninstallation does while it asks.
TEST_F(MenuBar, WhereAnotherHoldsItsPlaceItSaysSoAndStartsNothing) {
    QDir().mkpath(runtime() + u"/ombru"_s);
    QFile lock(socket() + u".lock"_s);
    ASSERT_TRUE(lock.open(QFile::WriteOnly));
    ASSERT_EQ(::flock(lock.handle(), LOCK_EX), 0);
    EXPECT_TRUE(complains(u"does not answer"_s));
    EXPECT_TRUE(menuBars().isEmpty());
}

TEST_F(MenuBar, BesideTheApplicationWithoutAPanelItSaysSoInAWindow) {
    m_application = startApplication();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    EXPECT_TRUE(complains(u"ombru runs without a panel"_s));
}

TEST_F(MenuBar, SettingsOfANewerVersionAreRefusedInAWindow) {
    const QByteArray newer = "settingsVersion=2\n";
    m_scratch.write(u".config/ombru/ombru.conf"_s, newer);
    EXPECT_TRUE(complains(u"of a newer ombru"_s));
    EXPECT_EQ(contents(m_scratch.path(u".config/ombru/ombru.conf"_s)), newer);
}

TEST_F(MenuBar, WhereNothingCanBeWrittenInTheHomeItIsThereAndSaysWhy) {
    m_environment["HOME"] = "/sys"; // where nobody can, not even root
    launch();
    openPanel();
    EXPECT_FALSE(isOpen(HINT)) << "it would come with every start";
    EXPECT_TRUE(ombru({u"status"_s}).out.contains(u"running, signed out"_s));
    const auto doctor = ombru({u"doctor"_s});
    EXPECT_EQ(doctor.status, 1);
    for (const auto *place : {"/sys/.config/ombru: ", "/sys/.local/share/ombru: ", "/sys/.local/state/ombru: "})
        EXPECT_TRUE(doctor.out.contains(u"cannot be written in "_s + QString::fromLatin1(place)))
            << doctor.out.toStdString();
    killMenuBars(SIGTERM);
    EXPECT_EQ(end(m_menuBar).status, 0);
}

TEST_F(MenuBar, TheFirstStartByThePanelsCommandShowsTheHintAndThenThePanel) {
    launch({u"--panel"_s});
    ASSERT_TRUE(opens(HINT));
    EXPECT_FALSE(isOpen(PANEL));
    press("Return");
    EXPECT_TRUE(opens(PANEL));
    EXPECT_TRUE(closes(HINT));
}

TEST_F(MenuBar, AtLoginOneThatRunsWithoutAPanelIsEnough) {
    m_application = startApplication();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    EXPECT_EQ(end(startMenuBar({u"--at-login"_s})).status, 0);
    EXPECT_FALSE(isOpen(u"ombru"_s));
}

TEST_F(MenuBar, ThePanelsCommandStartsTheApplication) {
    launchAgain();
    ASSERT_TRUE(iconIsShown());
    killMenuBars(SIGTERM);
    EXPECT_EQ(end(m_menuBar).status, 0);
    EXPECT_EQ(ombru({u"panel"_s}).status, 0);
    EXPECT_TRUE(opens(PANEL));
    killMenuBars(SIGTERM);
    EXPECT_TRUE(waitUntil([this] { return menuBars().isEmpty(); }));
}

TEST_F(MenuBar, AScriptsKeysDoNotReachThePanel) {
    test::allow(data(), {u"com.apple.systemevents"_s});
    launchAgain();
    openPanel();
    QProcess script;
    script.setProcessEnvironment([this] {
        QProcessEnvironment environment;
        for (const auto &[name, value] : m_environment)
            environment.insert(QString::fromUtf8(name), QString::fromUtf8(value));
        return environment;
    }());
    script.start(bin(u"osascript"_s), {u"-e"_s, u"tell application \"System Events\" to key code 36"_s});
    ASSERT_TRUE(waitUntil([&] { return script.state() == QProcess::NotRunning; }));
    const auto said = script.readAllStandardError();
    EXPECT_TRUE(said.contains("Not authorized to send Apple events to ombru.")) << said.toStdString();
}

TEST_F(MenuBar, AScriptCannotStartIt) {
    ASSERT_TRUE(QFile::copy(u"/bin/sh"_s, m_scratch.path(u"osascript"_s)));
    for (const auto &command : {u"ombru-menubar"_s, u"ombru panel"_s}) {
        auto process = Process::make({.program = m_scratch.path(u"osascript"_s),
                                      .arguments = {u"-c"_s, bin(command) + u"; echo $?; true"_s},
                                      .directory = m_scratch.directory(),
                                      .environment = m_environment});
        ASSERT_TRUE(process->start());
        const auto finished = end(process);
        EXPECT_TRUE(finished.out.contains(u"A script cannot start the application."_s)) << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"1\n"_s));
    }
    EXPECT_TRUE(menuBars().isEmpty());
}
