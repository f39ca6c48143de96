// The windows of the desktop, through its window manager (EWMH). One thread; each operation waits until the window
// manager has done it. A handle is the window's id on the X server.
#pragma once
#include "platform/linux/windows/Taskbar.h"
#include "platform/linux/x11/X11.h"

namespace ombru {

class ManagedWindows {
public:
    // A Failure when no window manager runs, or it does not respond.
    static Result<ManagedWindows> of(X11 x11);

    // Topmost first; without docks, menus and whatever else a taskbar leaves out. Dialogs are in it.
    std::vector<DesktopWindow> all();
    DesktopWindow window(std::uint64_t handle); // says nothing of itself when it has gone

    Result<> activate(std::uint64_t handle); // a Failure when it has no focus after some seconds
    Result<> raise(std::uint64_t handle);
    Result<> close(std::uint64_t handle); // asks
    Result<> setMinimized(std::uint64_t handle, bool minimized);
    Result<> move(std::uint64_t handle, QPoint position); // the top left of its frame
    Result<> resize(std::uint64_t handle, QSize size);    // with its frame

private:
    explicit ManagedWindows(X11 x11) : m_x11(std::move(x11)) {}

    bool isListed(xcb_window_t window);
    bool hasState(xcb_window_t window, const char *state);
    DesktopWindow describe(xcb_window_t window, xcb_window_t active, QPoint origin);
    QMargins frameOf(xcb_window_t window);
    QRect clientArea(xcb_window_t window); // on the root window, without its frame
    Result<xcb_window_t> find(std::uint64_t handle);
    Result<> awaitManager();
    xcb_window_t focused();
    bool leadsTo(xcb_window_t from, xcb_window_t owner);
    bool canBeMinimized(xcb_window_t window);
    void unmaximize(xcb_window_t window);
    Result<> place(xcb_window_t window, QRect client, std::uint32_t which);

    X11 m_x11;
};

} // namespace ombru
