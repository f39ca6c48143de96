#include "platform/InputAccess.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

bool inputAllowed() {
    return FakePlatform::instance().desktop->inputAllowed;
}

bool requestInput() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->inputRequests;
    desktop->requestsOnMainThread += isMainThread() ? 1 : 0;
    return desktop->inputAnswer;
}

} // namespace ombru
