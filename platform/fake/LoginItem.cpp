#include "platform/LoginItem.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<> registerLoginItem() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->loginRegistrations;
    return desktop->loginItem;
}

Result<> repairLoginItem() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->loginRepairs;
    return desktop->loginItem;
}

QString loginItemPath() {
    return FakePlatform::instance().loginItemPath;
}

} // namespace ombru
