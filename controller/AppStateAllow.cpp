// Asking the owner for what is not allowed.

#include "app/Notifier.h"
#include "base/Background.h"
#include "controller/AppState.h"
#include "permissions/Permissions.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// For the owner: candidates go by their usual name.
QString applicationTitle(const QString &id) {
    const auto &candidates = AppAutomation::candidates;
    const auto found = std::ranges::find(candidates, id, &AutomationApp::id);
    return found == candidates.end() ? AppAutomation::displayName(id).value_or(id) : found->name;
}

} // namespace

void AppState::allowEverything() {
    m_tasks.start(requestEverything());
}

Task<> AppState::requestEverything() {
    const auto stop = m_tasks.token();
    Notifier::requestPermission();
    for (const auto &permission : Permissions::all) {
        if (stop.stop_requested())
            break;
        if (permStates->value(permission.id, Permission::State::unknown) == Permission::State::granted)
            continue;
        if (permission.id == u"screen"_s)
            askedScreen = true;
        co_await Permissions::request(permission, stop);
    }
}

// One prompt at a time: what comes while one waits for its answer is dropped.
void AppState::allowBlocked(const AppAutomation::Target &target) {
    if (!std::exchange(m_requesting, true))
        m_tasks.start(requestBlocked(target));
}

Task<> AppState::requestBlocked(AppAutomation::Target target) {
    const auto stop = m_tasks.token();
    const auto state = co_await requestApp(target.id, target.name);
    m_requesting = false;
    if (stop.stop_requested())
        co_return;
    if (state == Permission::State::granted)
        blockedApps.edit([&](auto &targets) { targets.removeAll(target); });
    if (state == Permission::State::missing)
        AppAutomation::openSettings();
}

void AppState::allowApps(const QStringList &ids) {
    if (!std::exchange(m_requesting, true))
        m_tasks.start(requestApps(ids));
}

Task<> AppState::requestApps(QStringList ids) {
    const auto stop = m_tasks.token();
    for (const auto &id : ids) {
        const auto name = co_await backgroundWithin(Permissions::LIMIT, stop, [id] { return applicationTitle(id); });
        if (stop.stop_requested())
            break;
        const auto state = co_await requestApp(id, name.value_or(id));
        if (stop.stop_requested())
            break;
        auto states = appAutomation();
        states[id] = state;
        setAppAutomation(states);
    }
    m_requesting = false;
    // One that began before the last answer does not know it.
    if (m_refreshing)
        co_await refreshPermissions();
    co_await refreshPermissions();
}

Task<Permission::State> AppState::requestApp(QString id, QString name) {
    requestingApp = name;
    const auto state = co_await AppAutomation::request(id, m_tasks.token());
    requestingApp = std::nullopt;
    co_return state;
}

} // namespace ombru
