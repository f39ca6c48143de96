// A connection to the X server whose events come from the main thread's event loop; nothing is polled. Main thread.
#pragma once
#include "platform/linux/x11/Display.h"

#include <functional>

class QSocketNotifier;

namespace ombru {

class DisplayEvents {
public:
    // `take` must not destroy this.
    DisplayEvents(Display display, std::function<void(const xcb_generic_event_t &)> take);
    ~DisplayEvents();

    const Display &display() const { return m_display; }
    xcb_connection_t *connection() const { return m_display.connection(); }
    bool isAlive() const { return xcb_connection_has_error(connection()) == 0; }

    // What came while an answer was waited for wakes nobody: it is taken in the loop's next turn. To be called after
    // each such wait outside of `take`.
    void catchUp() const;

private:
    void takeAll();

    Display m_display;
    std::function<void(const xcb_generic_event_t &)> m_take;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::shared_ptr<DisplayEvents *> m_self; // for a turn that is on its way
};

} // namespace ombru
