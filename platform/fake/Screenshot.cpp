#include "platform/Screenshot.h"

#include "picture/Scale.h"
#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<Picture> takeScreenshot(int longerSide) {
    auto screen = FakePlatform::instance().screenshot();
    if (!screen)
        return screen;
    return scaled(*screen, fitted({screen->width, screen->height}, longerSide));
}

QSize screenSize() {
    return FakePlatform::instance().screenSize;
}

} // namespace ombru
