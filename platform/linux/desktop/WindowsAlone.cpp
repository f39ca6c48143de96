#include "platform/linux/desktop/WindowsAlone.h"

namespace ombru {

template <class Operation>
std::invoke_result_t<Operation, Windows &> WindowsAlone::with(Operation operation) const {
    auto x11 = X11::open(m_stop);
    if (!x11)
        return std::unexpected(x11.error());
    auto windows = Windows::of(std::move(*x11));
    if (!windows)
        return std::unexpected(windows.error());
    return operation(*windows);
}

Result<std::vector<DesktopWindow>> WindowsAlone::windows() {
    return with([](Windows &all) -> Result<std::vector<DesktopWindow>> { return all.all(); });
}

Result<> WindowsAlone::activateWindow(std::uint64_t handle) {
    return with([&](Windows &all) { return all.activate(handle); });
}

Result<> WindowsAlone::setMinimized(std::uint64_t handle, bool minimized) {
    return with([&](Windows &all) { return all.setMinimized(handle, minimized); });
}

} // namespace ombru
