#include "platform/InputAccess.h"

#include "platform/linux/wayland/PortalInput.h"
#include "platform/linux/wayland/WaylandSession.h"
#include "platform/linux/x11/TestExtension.h"

namespace ombru {
namespace {

bool takesKeys() {
    const auto display = Display::open();
    return display && hasTestExtension(*display);
}

Way findWay() {
    static const Inquiry display;
    return wayTo(display, takesKeys);
}

} // namespace

bool inputAllowed() {
    const Way way = findWay();
    return way == Way::portal ? portalTakesInput() : way == Way::open;
}

// An X server takes keys from whoever may use it: there is nobody to ask.
bool requestInput() {
    const Way way = findWay();
    return way == Way::portal ? requestPortalInput(OWNER_ANSWERING) : way == Way::open;
}

} // namespace ombru
