#include "platform/Screenshot.h"

#include "picture/Scale.h"
#include "platform/fake/FakePlatform.h"

namespace ombru {

using namespace Qt::StringLiterals;

Result<Screenshot> takeScreenshot(int longerSide) {
    auto &platform = FakePlatform::instance();
    const auto screen = platform.screenshot();
    if (!screen)
        return std::unexpected(screen.error());
    if (platform.screenSize.isEmpty())
        return std::unexpected(Failure{u"screenshot"_s, 1, u"The display went away."_s});
    return Screenshot{scaled(*screen, fitted({screen->width, screen->height}, longerSide)), platform.screenSize};
}

} // namespace ombru
