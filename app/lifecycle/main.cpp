// ombru-menubar: ombru as an icon in the menu bar, until its owner ends it. A second start shows where to find the
// first.
#include "app/cli/CommandLoop.h"
#include "app/control/ControlPlace.h"
#include "app/lifecycle/Complaint.h"
#include "app/lifecycle/Knock.h"
#include "app/lifecycle/OmbruApp.h"
#include "app/resident/OneInstance.h"
#include "base/Background.h"
#include "base/OneHeap.h"
#include "base/Program.h"
#include "look/Translation.h"
#include "platform/AssistiveAccess.h"
#include "platform/Keeper.h"
#include "platform/PeerProcess.h"
#include "platform/WindowAccess.h"
#include "settings/Settings.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <QTranslator>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

using Start = OmbruApp::Start;

constexpr std::chrono::seconds PATIENCE(5);                           // for one that begins, or ends
constexpr Clock::Duration FINISHING = std::chrono::milliseconds(100); // for what runs in the background

constexpr auto NOTES = R"(
Its icon opens a panel to sign in, to allow what ombru needs, and to see and stop what it does. `ombru` does the same in
a terminal, and `ombru --headless` is the application without icon and panel.)";

int complain(const QString &what) {
    complainToOwner(what);
    return 1;
}

// By a script no window is opened.
int refuseScript() {
    std::fputs("ombru-menubar: A script cannot start the application.\n", stderr);
    return 1;
}

int knock(std::unique_ptr<Door> door, Start start) {
    Knock asking(std::move(door), {.again = start != Start::withPanel});
    const int status = runLoop(asking);
    return asking.complaint().isEmpty() ? status : complain(asking.complaint());
}

int stay(const QString &socket, Start start) {
    int status = 0;
    {
        OmbruApp application(socket, start);
        status = runLoop(application);
    }
    // A display or a bus that never answers must not keep the program.
    if (!finishBackground(FINISHING))
        std::_Exit(status);
    return status;
}

// The one that has the lock may not listen yet, or be about to end. At login that one is enough, whatever it shows.
int reachTheOther(const QString &socket, Start start) {
    for (QDeadlineTimer patience(PATIENCE); !patience.hasExpired(); QThread::msleep(50)) {
        if (auto door = start == Start::atLogin ? nullptr : Door::open())
            return knock(std::move(door), start);
        if (const auto lock = lockInstance(socket); lock && *lock)
            return stay(socket, start);
    }
    if (start == Start::atLogin)
        return 0;
    return complain(u"Another ombru is at work and does not answer. Try again in a moment."_s);
}

int runOnce(Start start) {
    if (servesAScript())
        return refuseScript();
    if (const auto known = Settings(Settings::defaultFile()).isOfThisVersion(); !known)
        return complain(known.error().description);
    const auto socket = controlSocket();
    const auto lock = socket ? lockInstance(*socket) : std::unexpected(socket.error());
    if (!lock)
        return complain(lock.error().description);
    return *lock ? stay(*socket, start) : reachTheOther(*socket, start);
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    takeMemoryFromOneHeap();
    CLI::App grammar("ombru in the menu bar.", "ombru-menubar");
    bool panel = false;
    bool atLogin = false;
    grammar.add_flag("--panel", panel, "Open the panel at once");
    grammar.add_flag("--at-login", atLogin, "Show no window by itself, as when it starts with the session")
        ->excludes("--panel");
    grammar.set_version_flag("--version", "ombru " OMBRU_VERSION);
    grammar.footer(NOTES);
    try {
        grammar.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return statusWhenPrinted(grammar.exit(error));
    }
    if (const auto display = windowsCanBeShown(); !display)
        return complain(display.error().description + u" `ombru --headless` runs without one."_s);
    int none = 1; // the arguments are not Qt's
    QApplication application(none, argv);
    describeWindowsOnly();
    QApplication::setApplicationName(u"ombru"_s);
    QApplication::setApplicationVersion(QStringLiteral(OMBRU_VERSION));
    QApplication::setDesktopFileName(u"ombru"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    const auto translator = translateTexts(catalogueDirectory());
    Process::setKeeper(keeperPath());
    return runOnce(panel ? Start::withPanel : atLogin ? Start::atLogin : Start::byOwner);
}
