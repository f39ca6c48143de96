#include "platform/Screenshot.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<Picture> takeScreenshot() {
    return FakePlatform::instance().screenshot();
}

QSize screenSize() {
    return FakePlatform::instance().screenSize;
}

} // namespace ombru
