// What the owner's desktop knows and opens for us. What is opened is the owner's from then on: it lives in a session of
// its own and no cancel, time-out or end of this program ends it. Any thread; Failures have domain "workspace".
#pragma once
#include "base/Failure.h"

#include <QString>

#include <optional>

namespace ombru {

// Runs the bash script `commandFile` (full path) in a window of the desktop's terminal, which stays when the script has
// ended. Returns once the terminal's program runs. The Failure says what stood in the way, and the command to type
// instead.
Result<> openInTerminal(const QString &commandFile);

// --- Applications, by identifier. Not on the main thread: the desktop is asked.

// As the desktop shows it; none when no such application is known.
std::optional<QString> applicationName(const QString &id);

bool applicationRuns(const QString &id);

// Starts it out of sight: not activated, without the focus. Returns once it is out of the way, or has shown nothing for
// some seconds; nothing to do when it runs.
Result<> openApplicationHidden(const QString &id);

// --- Places and this program

// Opens it as the owner's own click would. Addresses of privacy settings
// ("x-apple.systempreferences:com.apple.preference.security?Privacy_...") open the settings that exist here.
Result<> openURL(const QString &url);

// Starts this application in the menu bar; with its panel open when that is wanted. Returns once it is on its way.
Result<> startMenuBarApplication(bool panelOpen);

// Leaves somebody behind who waits until this program has ended, looking every 0.2 seconds, and opens it again.
Result<> reopenAfterExit();

} // namespace ombru
