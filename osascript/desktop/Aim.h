// Sends a script's keys and clicks where the owner lets them go: looks who would get them right before, while the
// server listens to nobody else, so that nothing can come in between. For one operation; one thread.
//
// What the server does not tell stays open: a window manager's own shortcuts, and a program that grabs the keyboard
// without showing anything. In a Wayland session only X11 programs are seen, and only they get the keys.
#pragma once
#include "osascript/desktop/Desktop.h"
#include "platform/linux/x11/X11.h"

#include <map>

namespace ombru {

class Aim {
public:
    // Both outlive this.
    Aim(X11 &x11, const MayReach &mayReach) : m_x11(&x11), m_mayReach(&mayReach) { x11.listenToRoot(); }

    // Calls `send`, which puts events on the connection, when whoever has the keyboard may be reached; else a Failure.
    Result<> keys(const std::function<void()> &send);

    // The same for a button, and whoever is under the pointer.
    Result<> button(const std::function<void()> &send);

    // Whether what is at that place on the root window may be clicked.
    Result<> place(QPoint place);

private:
    Result<> at(xcb_window_t (*receiver)(X11 &x11), const std::function<void()> &send);
    Result<> mayReach(xcb_window_t window);
    Result<> menusMayBeReached();

    X11 *m_x11;
    const MayReach *m_mayReach;
    std::map<xcb_window_t, std::vector<DesktopWindow>> m_owners; // of windows that were looked at
    bool m_menusSeen = false;                                    // all that are open now
};

} // namespace ombru
