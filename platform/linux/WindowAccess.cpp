#include "platform/WindowAccess.h"

#include "platform/linux/x11/Display.h"

namespace ombru {

using namespace Qt::StringLiterals;

Result<> windowsCanBeShown() {
    // Some of Qt's platforms draw windows that appear nowhere.
    const auto platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (platform.startsWith(u"offscreen"_s) || platform.startsWith(u"minimal"_s))
        return std::unexpected(
            Failure{u"display"_s, 2, u"The environment's QT_QPA_PLATFORM shows windows to nobody."_s});
    if (const auto display = Display::open(); !display)
        return std::unexpected(display.error());
    return {};
}

} // namespace ombru
