#include "platform/ScreenAccess.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

bool screenCaptureAllowed() {
    return FakePlatform::instance().desktop->screenAllowed;
}

bool requestScreenCapture() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->screenRequests;
    desktop->requestsOnMainThread += isMainThread() ? 1 : 0;
    return desktop->screenAnswer;
}

} // namespace ombru
