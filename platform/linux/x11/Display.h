// A connection to the X server for as long as one operation needs it, so that a display that goes away is a failure of
// that operation and nothing else. Any one thread at a time.
#pragma once
#include "base/Failure.h"

#include <QRect>

#include <cstdlib>
#include <memory>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace ombru {

struct FreeReply {
    void operator()(void *reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeReply>;

class Display {
public:
    static Result<Display> open();

    xcb_connection_t *connection() const { return m_connection.get(); }
    const xcb_screen_t &screen() const { return *m_screen; }

    // Where the primary monitor is on the root window: the one named primary, else the first, else all of it.
    QRect primaryMonitor() const;

    // A Wayland session's server for X11 programs: it shows only their windows, and hides the rest of the screen.
    bool isWaylandGuest() const;

private:
    Reply<xcb_randr_get_monitors_reply_t> monitors() const; // null without RandR

    struct Disconnect {
        void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    const xcb_screen_t *m_screen = nullptr; // owned by the connection
};

} // namespace ombru
