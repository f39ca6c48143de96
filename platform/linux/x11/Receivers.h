// Which window would get a key or a click now, and whose it is. One thread.
#pragma once
#include "platform/linux/windows/Taskbar.h"
#include "platform/linux/x11/X11.h"

namespace ombru {

// The window that gets the keys: the one that has the keyboard, or the one under the pointer where that decides, as it
// does within the one that has it; none when nobody has it. A program
// that has grabbed the keyboard is not told by the server: what it shows is among openMenus().
xcb_window_t keyReceiver(X11 &x11);

// The innermost window under the pointer, or at a place on the root window; none where there is only the root.
xcb_window_t pointerReceiver(X11 &x11);
xcb_window_t windowAt(const X11 &x11, QPoint place);

// Windows past the window manager that may hold the keyboard: menus and the like, without tooltips and notifications.
std::vector<xcb_window_t> openMenus(X11 &x11);

// Whose the window is: as its program described the window that the window manager knows, be it around this one or in
// this frame; else the outermost. Then, from there to this one, every part of another program's or of another name, and
// what other windows of these processes call themselves.
std::vector<DesktopWindow> ownersOf(X11 &x11, xcb_window_t window);

// The process whose connection made the window.
qint64 processOf(X11 &x11, xcb_window_t window);

} // namespace ombru
