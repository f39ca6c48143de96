#include "platform/ScreenAccess.h"

#include "platform/linux/wayland/PortalScreen.h"
#include "platform/linux/wayland/WaylandSession.h"
#include "platform/linux/x11/ScreenReader.h"

namespace ombru {
namespace {

// Really reads: one pixel of the primary monitor.
bool canReadDisplay() {
    const auto display = Display::open();
    if (!display)
        return false;
    const QRect monitor = display->primaryMonitor();
    if (monitor.isEmpty())
        return false;
    const auto reader = ScreenReader::make(*display, {monitor.topLeft(), QSize(1, 1)}, 1);
    if (!reader)
        return false;
    reader->ask(0, 1);
    return reader->take() != nullptr;
}

Way findWay() {
    static const Inquiry display;
    return wayTo(display, canReadDisplay);
}

} // namespace

bool screenCaptureAllowed() {
    const Way way = findWay();
    return way == Way::portal ? portalShowsScreen() : way == Way::open;
}

// An X server lets whoever may use it read the screen: there is nobody to ask.
bool requestScreenCapture() {
    const Way way = findWay();
    return way == Way::portal ? requestPortalScreen(OWNER_ANSWERING) : way == Way::open;
}

} // namespace ombru
