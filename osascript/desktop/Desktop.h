// The graphical desktop as osascript works it: the host's facets that need one. It lives in a module of its own,
// `ombru-desktop.so`, which is loaded when a script first needs it: its libraries take longer to load than most scripts
// take to run.
//
// Thread: one thread, which may block; restore() may be called from another one meanwhile. The desktop owns its facets.
// Positions and sizes are in points with their origin at the primary monitor's top left. A Failure's code is the
// AppleScript error number and its description the message. Each operation opens what it needs (the display, the
// session bus), so that one that needs no display works without one. Nothing here waits for the prompts of others.
#pragma once
#include "applescript/host/Clipboard.h"
#include "applescript/host/Input.h"
#include "applescript/host/Notifications.h"
#include "applescript/host/Windows.h"
#include "applescript/values/Application.h"
#include "platform/linux/system/WaitLimit.h"
#include "platform/linux/windows/Taskbar.h"

#include <functional>
#include <memory>
#include <optional>

namespace ombru {

class Desktop {
public:
    virtual ~Desktop() = default;

    virtual Taskbar &taskbar() = 0;
    virtual applescript::Windows &windows() = 0;
    virtual applescript::Input &input() = 0;
    virtual applescript::Clipboard &clipboard() = 0; // keeps its text after this program has ended
    virtual applescript::Notifications &notifications() = 0;

    // Releases the keys that are held and gives the keyboard its own map back. Any thread, at any time: an operation
    // that runs meanwhile ends soon, and every later one fails. Also done by the destructor.
    virtual void restore() = 0;

    // Around a stop of the program: lets go of keys and buttons, and has no operation go on until goOn(), or
    // goOnToEnd(), before restore(). All three by one thread, which is another than the desktop's.
    virtual void rest() = 0;
    virtual void goOn() = 0;
    virtual void goOnToEnd() = 0;
};

// The installed application that shows a window. Asked of whoever loads the module, which knows them already.
using ApplicationOf = std::function<std::optional<applescript::Application>(const DesktopWindow &window)>;

// Whether the owner lets the script work what shows a window, of which class and process are known. Asked before each
// key, click and change of a window, so it has to be quick, and must not use the display. The Failure is the script's.
using MayReach = std::function<Result<>(const DesktopWindow &window)>;

// What the module needs of whoever loads it.
struct DesktopCaller {
    ApplicationOf applicationOf;
    MayReach mayReach;
    const WaitLimit *limit = &UNLIMITED; // of its waits; outlives its operations
};

} // namespace ombru

// What the module exports.
extern "C" void ombruOpenDesktop(const ombru::DesktopCaller &caller, std::unique_ptr<ombru::Desktop> &desktop);
