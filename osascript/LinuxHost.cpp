#include "osascript/LinuxHost.h"

#include "platform/linux/applications/InstalledApplications.h"

namespace ombru {

using namespace applescript;

namespace {

std::optional<Application> applicationOf(const DesktopWindow &window) {
    const auto installed = installedApplications();
    const auto *entry = installed->ofWindow(window.className, window.instance);
    return entry ? std::optional(Application{entry->id, entry->name, entry->path}) : std::nullopt;
}

} // namespace

LinuxHost::LinuxHost()
    : m_module({.applicationOf = applicationOf,
                .mayReach = [this](const DesktopWindow &window) { return m_reach.mayReach(window); },
                .limit = &m_limit}) {}

Result<const Windows *> LinuxHost::windows() {
    return m_module.facet(&Desktop::windows);
}

Result<Held<Windows>> LinuxHost::windowsToChange() {
    return m_besidePrompts.hold(&Desktop::windows);
}

Result<Held<Input>> LinuxHost::input() {
    return m_besidePrompts.hold(&Desktop::input);
}

Result<Clipboard *> LinuxHost::clipboard() {
    return m_module.facet(&Desktop::clipboard);
}

Result<Notifications *> LinuxHost::notifications() {
    return m_module.facet(&Desktop::notifications);
}

} // namespace ombru
