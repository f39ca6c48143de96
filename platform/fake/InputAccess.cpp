#include "platform/InputAccess.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

bool inputAllowed() {
    return FakePlatform::instance().desktop->inputAllowed;
}

bool requestInput() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->inputRequests;
    return desktop->inputAnswer;
}

} // namespace ombru
