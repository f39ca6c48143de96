#include "platform/Workspace.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<> openInTerminal(const QString &commandFile) {
    FakePlatform &platform = FakePlatform::instance();
    platform.openedInTerminal += commandFile;
    return platform.terminal;
}

std::optional<QString> applicationName(const QString &id) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    const auto found = desktop->applications.find(id);
    return found == desktop->applications.end() ? std::nullopt : std::optional(found->second.name);
}

bool applicationRuns(const QString &id) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->looks;
    const auto found = desktop->applications.find(id);
    if (found == desktop->applications.end())
        return false;
    auto &application = found->second;
    if (!application.running && application.opened && application.looksUntilItRuns)
        application.running = (*application.looksUntilItRuns)-- == 0;
    return application.running;
}

Result<> openApplicationHidden(const QString &id) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    const auto found = desktop->applications.find(id);
    if (found == desktop->applications.end())
        return std::unexpected(Failure{QStringLiteral("workspace"), 1, QStringLiteral("there is no ") + id});
    desktop->startedHidden.append(id);
    found->second.opened = true;
    found->second.running = found->second.running || found->second.looksUntilItRuns == 0;
    return {};
}

Result<> openURL(const QString &url) {
    if (const auto before = FakePlatform::instance().desktop->beforeOpeningURL)
        before();
    const auto desktop = FakePlatform::instance().desktop.lock();
    desktop->openedURLs.append(url);
    return desktop->openingURL;
}

Result<> startMenuBarApplication(bool panelOpen) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    desktop->menuBarStarts.append(panelOpen);
    return desktop->menuBarStart;
}

Result<> reopenAfterExit() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->reopenings;
    return desktop->reopening;
}

} // namespace ombru
