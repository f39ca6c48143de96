#include "platform/linux/x11/X11Taskbar.h"

namespace ombru {

template <class Operation>
std::invoke_result_t<Operation, ManagedWindows &> X11Taskbar::with(Operation operation) const {
    auto x11 = X11::open(m_stop);
    if (!x11)
        return std::unexpected(x11.error());
    auto windows = ManagedWindows::of(std::move(*x11));
    if (!windows)
        return std::unexpected(windows.error());
    return operation(*windows);
}

Result<std::vector<DesktopWindow>> X11Taskbar::windows() {
    return with([](ManagedWindows &all) -> Result<std::vector<DesktopWindow>> { return all.all(); });
}

Result<> X11Taskbar::activateWindow(std::uint64_t handle) {
    return with([&](ManagedWindows &all) { return all.activate(handle); });
}

Result<> X11Taskbar::setMinimized(std::uint64_t handle, bool minimized) {
    return with([&](ManagedWindows &all) { return all.setMinimized(handle, minimized); });
}

} // namespace ombru
