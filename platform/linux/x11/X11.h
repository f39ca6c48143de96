// The X server as the desktop's operations use it: properties, messages to the window manager, polling. A connection
// for one operation; the X server that goes away is a Failure of that operation. One thread.
#pragma once
#include "platform/linux/system/Standstill.h"
#include "platform/linux/system/WaitLimit.h"
#include "platform/linux/x11/Display.h"

#include <QPoint>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <vector>

namespace ombru {

// AppleScript error numbers.
constexpr int CANCELLED = -128;
constexpr int TIMED_OUT = -1712;
constexpr int NO_SUCH_OBJECT = -1728;
constexpr int CANNOT_DO_IT = -10000;

template <class Range, class Value>
bool contains(const Range &range, const Value &value) {
    return std::ranges::find(range, value) != std::ranges::end(range);
}

Failure desktopFailure(int code, const QString &description);

class X11 {
public:
    // A Failure when there is no display or `stop` is set. Waits end early once `stop` is set.
    static Result<X11> open(const std::atomic<bool> &stop);

    // The server has done all of it: what is on its way when a connection closes may be lost.
    ~X11();
    X11(X11 &&) = default;
    X11 &operator=(X11 &&) = default;

    // Waits end early at that limit, too, which outlives this.
    void limitWaits(const WaitLimit &limit) { m_limit = &limit; }
    bool mayWait() const { return !m_limit->passed(); }

    // Waits may become longer by that one, which outlives this.
    void standStillBy(Standstill &standstill) { m_standstill = &standstill; }

    xcb_connection_t *connection() const { return m_display.connection(); }
    xcb_window_t root() const { return m_display.screen().root; }
    const Display &display() const { return m_display; }

    // Where a script's {0, 0} is on the root window.
    QPoint origin() const { return m_display.primaryMonitor().topLeft(); }

    xcb_atom_t atom(const char *name);

    // Empty when the window has no such property, or has gone.
    std::vector<std::uint32_t> numbers(xcb_window_t window, const char *property);
    std::uint32_t number(xcb_window_t window, const char *property); // the first, or 0
    QString text(xcb_window_t window, const char *property);
    void setNumbers(xcb_window_t window, const char *property,
                    const std::vector<std::uint32_t> &numbers); // none: no property

    xcb_window_t inputFocus() const;
    // The window that the window manager knows, of which `window` is a part; none when it is of no such window.
    xcb_window_t managedWindow(xcb_window_t window);

    // A message about a window to the window manager.
    void tellManager(xcb_window_t window, const char *type, std::array<std::uint32_t, 5> data);

    // Sends all that waits to be sent. A Failure when the server has gone or the desktop is being left.
    Result<> flush() const;

    // Turns until the condition holds; false when the time is over, the server has gone, or `stop` is set.
    template <class Condition>
    bool waitFor(int milliseconds, Condition condition) const {
        const auto end = m_limit->after(std::chrono::milliseconds(milliseconds));
        while (!condition()) {
            if (Clock::now() >= end || !flush())
                return false;
            pause(2);
        }
        return true;
    }
    void pause(int milliseconds) const; // returns early once `stop` is set

    // From now on there are events of the root window and of those on it.
    void listenToRoot();

    // An event that is here, or null; the next one, or null when none comes in that time.
    Reply<xcb_generic_event_t> takeEvent();
    Reply<xcb_generic_event_t> nextEvent(int milliseconds);

    // Whether a window has come onto the screen since that was asked last: by all that happened before the server's
    // last answer, without asking it. Takes the events that are here.
    bool hasNewWindows();

private:
    X11(Display display, const std::atomic<bool> &stop) : m_display(std::move(display)), m_stop(&stop) {}

    Display m_display;
    const std::atomic<bool> *m_stop;
    const WaitLimit *m_limit = &UNLIMITED;
    Standstill *m_standstill = nullptr;
    std::map<const char *, xcb_atom_t> m_atoms;
    bool m_newWindows = false;
};

// While it lives the server listens to nobody else, so that what was read stays so until something is written. One
// connection has one at a time.
class ServerGrab {
public:
    explicit ServerGrab(const X11 &x11) : m_connection(x11.connection()) { xcb_grab_server(m_connection); }
    ~ServerGrab() {
        xcb_ungrab_server(m_connection);
        xcb_flush(m_connection);
    }
    ServerGrab(const ServerGrab &) = delete;
    ServerGrab &operator=(const ServerGrab &) = delete;

private:
    xcb_connection_t *m_connection;
};

} // namespace ombru
