#include "platform/WindowAccess.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<> windowsCanBeShown() {
    return FakePlatform::instance().windowsShown;
}

} // namespace ombru
