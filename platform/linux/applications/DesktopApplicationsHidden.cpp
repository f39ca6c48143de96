// Starting an application out of the owner's sight.

#include "platform/linux/applications/DesktopApplications.h"

#include <algorithm>
#include <thread>

namespace ombru {

using namespace std::chrono_literals;

namespace {

constexpr auto APPEAR = 5s;   // how long an application may take to show a window
constexpr auto QUIET = 400ms; // a first window may be followed by others: a splash screen by the real one
constexpr auto GLANCE = 15ms; // the owner may be typing: seldom enough for the computer, soon enough for the eye

const DesktopWindow *focusedOf(const std::vector<DesktopWindow> &windows) {
    const auto found = std::ranges::find_if(windows, &DesktopWindow::focused);
    return found == windows.end() ? nullptr : &*found;
}

} // namespace

Result<> DesktopApplications::openHidden(const QString &id) const {
    if (isRunning(id))
        return {};
    const auto entry = withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    const auto before = allWindows();
    if (auto started = start(*entry, {}); !started)
        return started;
    // Without a desktop there is nothing to put away.
    return before ? putAway(*entry, focusedOf(*before)) : Result<>();
}

Result<> DesktopApplications::putAway(const DesktopEntry &entry, const DesktopWindow *focusedBefore) const {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + APPEAR;
    std::optional<Clock::time_point> quietSince; // from when it has shown something
    QSet<std::uint64_t> staying;
    while (Clock::now() < end && (!quietSince || Clock::now() - *quietSince < QUIET)) {
        const auto found = putAwayNow(entry, focusedBefore, staying);
        if (!found)
            return std::unexpected(found.error());
        if (*found)
            quietSince = Clock::now();
        std::this_thread::sleep_for(GLANCE);
    }
    return {};
}

// Whether there was something to put away.
Result<bool> DesktopApplications::putAwayNow(const DesktopEntry &entry, const DesktopWindow *focusedBefore,
                                             QSet<std::uint64_t> &staying) const {
    auto windows = windowsOf(entry.id);
    if (!windows)
        return std::unexpected(windows.error());
    std::erase_if(*windows, [&](const auto &window) { return window.minimized || staying.contains(window.handle); });
    const auto desktop = m_openTaskbar();
    if (!desktop)
        return std::unexpected(desktop.error());
    for (const auto &window : *windows) {
        // Not every window can be, and one may close by itself meanwhile.
        if (!(*desktop)->setMinimized(window.handle, true))
            staying.insert(window.handle);
    }
    if (windows->empty())
        return false;
    const auto returned = focusedBefore ? returnFocus(entry, *focusedBefore) : Result<>();
    if (!returned)
        return std::unexpected(returned.error());
    return true;
}

// Only from the application itself: the owner may have gone somewhere else meanwhile.
Result<> DesktopApplications::returnFocus(const DesktopEntry &entry, const DesktopWindow &before) const {
    const auto windows = allWindows();
    if (!windows)
        return std::unexpected(windows.error());
    const auto *focused = focusedOf(*windows);
    const auto owner = focused ? ofWindow(*focused) : std::nullopt;
    const bool taken = !focused || (owner && owner->id == entry.id);
    const bool isThere = std::ranges::find(*windows, before.handle, &DesktopWindow::handle) != windows->end();
    if (!taken || !isThere)
        return {};
    return (*m_openTaskbar())->activateWindow(before.handle);
}

} // namespace ombru
