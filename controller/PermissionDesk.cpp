#include "controller/PermissionDesk.h"

#include "base/Background.h"
#include "base/SystemEvents.h"
#include "notifier/Notifier.h"
#include "permissions/Permissions.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr double CLAUDE_CHECK_SECONDS = 4.0; // between two checks of the tool

// For the owner: candidates go by their usual name.
QString applicationTitle(const QString &id) {
    const auto &candidates = AppAutomation::candidates;
    const auto found = std::ranges::find(candidates, id, &AutomationApp::id);
    return found == candidates.end() ? AppAutomation::displayName(id).value_or(id) : found->name;
}

} // namespace

PermissionDesk::PermissionDesk(Settings &settings, std::unique_ptr<PermissionReports> reports)
    : m_settings(settings), m_reports(std::move(reports)) {
    m_view.allowed.applications = permissionStates(settings.appAutomation());
}

Task<> PermissionDesk::end() {
    co_await m_tasks.drain();
}

// --- Looking

// The look belongs to the desk, whoever asked for it, so that it ends with the desk.
Task<> PermissionDesk::refresh() {
    if (m_tasks.token().stop_requested())
        co_return;
    const Completion over;
    m_lookedFor.push_back(over);
    if (!std::exchange(m_looking, true))
        m_tasks.start(look());
    co_await over;
}

Task<> PermissionDesk::look() {
    const auto stop = m_tasks.token();
    co_await lookAtAllowed(stop);
    co_await lookAtClaude(stop);
    m_looking = false;
    for (const auto &over : std::exchange(m_lookedFor, {}))
        over.fire();
}

Task<> PermissionDesk::lookAtAllowed(std::stop_token stop) {
    const auto now = co_await ombru::lookAtAllowed(stop, [this](const PermissionStates &permissions) {
        m_view.allowed.permissions = permissions;
        show();
    });
    if (stop.stop_requested())
        co_return;
    m_view.allowed.problem = now.problem;
    m_view.allowed.answered = now.answered;
    if (now.answered) { // else what was known of them stays
        m_view.allowed.others = now.others;
        keepApplications(now.applications);
    }
    show();
}

Task<> PermissionDesk::lookAtClaude(std::stop_token stop) {
    if (m_claudeCheckedAt && Clock::secondsSince(*m_claudeCheckedAt) <= CLAUDE_CHECK_SECONDS)
        co_return;
    m_claudeCheckedAt = Clock::now();
    const auto state = co_await Claude::check(stop);
    if (stop.stop_requested())
        co_return;
    m_view.claude = state;
    show();
}

void PermissionDesk::keepApplications(const PermissionStates &states) {
    if (m_view.allowed.applications == states)
        return;
    m_view.allowed.applications = states;
    show();
    if (const auto written = m_settings.appAutomation.write(stateNames(states)); !written)
        m_reports->warn(u"✗ "_s + written.error().description);
}

// --- Asking the owner for what is not allowed

// One prompt at a time, here and below: what comes while one waits for its answer is dropped.
void PermissionDesk::allowEverything() {
    if (!std::exchange(m_requesting, true))
        m_tasks.start(requestEverything());
}

Task<> PermissionDesk::requestEverything() {
    const auto stop = m_tasks.token();
    Notifier::requestPermission();
    for (const auto &permission : Permissions::all) {
        if (stop.stop_requested())
            break;
        if (m_view.allowed.permissions.value(permission.id, Permission::State::unknown) == Permission::State::granted)
            continue;
        if (permission.id == u"screen"_s)
            m_view.askedScreen = true;
        if (permission.id == u"automation"_s)
            m_view.requestingApp = SYSTEM_EVENTS_NAME.toString();
        show();
        co_await Permissions::request(permission, stop);
    }
    m_view.requestingApp = std::nullopt;
    m_requesting = false;
    show();
}

void PermissionDesk::allowBlocked(const AppAutomation::Target &target) {
    if (!std::exchange(m_requesting, true))
        m_tasks.start(requestBlocked(target));
}

Task<> PermissionDesk::requestBlocked(AppAutomation::Target target) {
    const auto stop = m_tasks.token();
    const auto state = co_await requestApp(target.id, target.name);
    m_requesting = false;
    if (stop.stop_requested())
        co_return;
    if (state == Permission::State::granted)
        m_reports->allowed(target);
    if (state == Permission::State::missing)
        AppAutomation::openSettings();
}

void PermissionDesk::allowApps(const QStringList &ids) {
    if (!std::exchange(m_requesting, true))
        m_tasks.start(requestApps(ids));
}

Task<> PermissionDesk::requestApps(QStringList ids) {
    const auto stop = m_tasks.token();
    for (const auto &id : ids) {
        const auto name = co_await backgroundWithin(Permissions::LIMIT, stop, [id] { return applicationTitle(id); });
        if (stop.stop_requested())
            break;
        const auto state = co_await requestApp(id, name.value_or(id));
        if (stop.stop_requested())
            break;
        auto states = m_view.allowed.applications;
        states[id] = state;
        keepApplications(states);
    }
    m_requesting = false;
    // One that began before the last answer does not know it.
    if (m_looking)
        co_await refresh();
    co_await refresh();
}

Task<Permission::State> PermissionDesk::requestApp(QString id, QString name) {
    m_view.requestingApp = name;
    show();
    const auto state = co_await AppAutomation::request(id, m_tasks.token());
    m_view.requestingApp = std::nullopt;
    show();
    co_return state;
}

} // namespace ombru
