#include "platform/linux/wayland/WaylandSession.h"

#include "platform/linux/x11/Display.h"

namespace ombru {

// A compositor may run in a window of an X11 session, and a Wayland session may have been entered from outside; so
// neither variable decides alone.
bool isWaylandSession() {
    const QByteArray type = qgetenv("XDG_SESSION_TYPE");
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && type != "x11")
        return true;
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return type == "wayland";
    const auto display = Display::open();
    return display && display->isWaylandGuest();
}

Way wayTo(const Inquiry &display, bool (*isOpen)()) {
    constexpr std::chrono::seconds ANSWERING(2);
    const auto way = display.ask(ANSWERING, [isOpen] {
        if (isWaylandSession())
            return Way::portal;
        return isOpen() ? Way::open : Way::shut;
    });
    return way.value_or(Way::shut);
}

} // namespace ombru
