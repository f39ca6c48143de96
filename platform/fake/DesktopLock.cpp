#include "platform/DesktopLock.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<std::optional<DesktopLock>> lockDesktop() {
    return FakePlatform::instance().desktopLock();
}

QString desktopName() {
    return FakePlatform::instance().desktopName;
}

} // namespace ombru
