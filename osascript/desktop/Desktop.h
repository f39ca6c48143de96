// The graphical desktop as osascript works it: windows, keyboard, pointer, clipboard, notifications. It lives in a
// module of its own, `ombru-desktop.so`, which is loaded when a script first needs it: its libraries take longer to
// load than most scripts take to run.
//
// Thread: one thread, which may block; restore() may be called from another one meanwhile. Positions and sizes are in
// points with their origin at the primary monitor's top left. A Failure's code is the AppleScript error number and its
// description the message. Each operation opens what it needs (the display, the session bus), so that one that needs no
// display works without one.
#pragma once
#include "applescript/host/Host.h"
#include "platform/linux/windows/Taskbar.h"

#include <memory>

namespace ombru {

class Desktop : public Taskbar {
public:
    virtual Result<> raiseWindow(std::uint64_t handle) = 0;
    virtual Result<> closeWindow(std::uint64_t handle) = 0;                 // asks
    virtual Result<> moveWindow(std::uint64_t handle, QPoint position) = 0; // of its frame
    virtual Result<> resizeWindow(std::uint64_t handle, QSize size) = 0;

    // As in applescript::Host.
    virtual Result<> type(const QString &text, applescript::Modifiers modifiers) = 0;
    virtual Result<> pressKey(int keyCode, applescript::Modifiers modifiers) = 0;
    virtual Result<> holdKey(int keyCode, bool down) = 0;
    virtual Result<> holdModifier(applescript::Modifier modifier, bool down) = 0;
    virtual Result<> click(QPoint at, applescript::Click click, applescript::Modifiers modifiers) = 0;
    virtual Result<QString> clipboard() = 0;                // empty text when it holds none
    virtual Result<> setClipboard(const QString &text) = 0; // the text stays there after this program has ended
    virtual Result<> notify(const applescript::NotificationRequest &request) = 0;

    // Releases the keys that are held and gives the keyboard its own map back. Any thread, at any time: an operation
    // that runs meanwhile ends soon, and every later one fails. Also done by the destructor.
    virtual void restore() = 0;
};

} // namespace ombru

// What the module exports. Sets `desktop`; leaves it empty and sets `failure` when there is none to be had.
extern "C" void ombruOpenDesktop(std::unique_ptr<ombru::Desktop> &desktop, ombru::Failure &failure);
