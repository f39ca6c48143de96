// What the panel says, line by line, from what the controller knows: a value in, values out. Pure; any thread.
#pragma once
#include "cloud/Auth.h"
#include "permissions/AppAutomation.h"
#include "permissions/Setup.h"

#include <QList>
#include <QStringList>

#include <optional>
#include <vector>

namespace ombru {

// What the lines depend on, as it is now.
// NOLINTBEGIN(readability-redundant-member-init): else the compiler wants each of them named
struct PanelState {
    Auth auth = {};
    bool trusted = false; // the service lets calls reach this computer
    QStringList activeCalls = {};
    bool busy = false;
    bool cancelling = false;
    int step = 0;
    bool serverListening = false;
    QString serverStatus = {};
    int callPort = 0;
    bool agentConnected = false;
    bool cloudReachable = false;
    Setup setup = Setup::checking;
    bool undecidedSystemEvents = false; // the owner was never asked
    QList<AppAutomation::Target> blockedApps = {};
    std::optional<QString> requestingApp = {}; // whose prompt is open: its name
    QString failure = {};                      // why the last button did nothing
    QString signInFailure = {};                // how the last sign-in ended, when it came to nothing
    QString failedService = {};                // which could not be asked, or answered wrongly

    bool operator==(const PanelState &) const = default;
};
// NOLINTEND(readability-redundant-member-init)

enum class Severity { secondary, waiting, ready, broken };

// What a button does.
struct PanelAction {
    enum class What {
        signIn,
        openBrowser,
        cancelSignIn,
        stop,
        hangUp,
        installClaude,
        signInClaude,
        allowEverything,
        restart,
        openAutomationSettings,
        allowApplication,
        openLogs,
        signOut,
        quit,
    };
    What what;
    AppAutomation::Target target = {}; // to be allowed

    bool operator==(const PanelAction &) const = default;
};

struct PanelButton {
    enum class Weight { plain, main, halt }; // main: what comes next; halt: what ends something that runs
    QString text;
    PanelAction action;
    Weight weight = Weight::plain;
    bool isEnabled = true;
    QString name = {}; // begins with the text; for whoever hears the button without the line that it stands in

    bool operator==(const PanelButton &) const = default;
};

struct PanelLine {
    QString text;
    Severity severity = Severity::secondary;
    std::vector<PanelButton> buttons = {};
    QString code = {}; // shown large below the text: what the owner compares

    bool operator==(const PanelLine &) const = default;
};

PanelLine statusLine(const PanelState &state);
PanelLine setupLine(const PanelState &state);
std::vector<PanelLine> automationLines(const PanelState &state);
std::vector<PanelLine> adviceLines(const PanelState &state); // of our own, below all others
std::vector<PanelButton> bottomButtons(const PanelState &state);

// All of it, top to bottom.
struct PanelContent {
    std::vector<PanelLine> lines;
    std::vector<PanelButton> bottom;

    bool operator==(const PanelContent &) const = default;
};
PanelContent panelContent(const PanelState &state);

// What ends what runs now, a task before a call; none when nothing does. Also for the icon's menu.
std::optional<PanelButton> stopButton(const PanelState &state);
QString stopText(); // of the one for a task

} // namespace ombru
