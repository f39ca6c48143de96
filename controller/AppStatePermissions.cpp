// What the owner allows, and what is left to do.

#include "base/Background.h"
#include "controller/AppState.h"
#include "permissions/Permissions.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr double CLAUDE_CHECK_SECONDS = 4.0; // between two checks of the tool

} // namespace

Setup AppState::setup() const {
    return ombru::setup(claude, permStates, askedScreen);
}

bool AppState::missingPermissions() const {
    return ombru::missingPermissions(claude, permStates);
}

Task<> AppState::refreshPermissions() {
    if (std::exchange(m_refreshing, true)) {
        const Completion over;
        m_refreshJoined.push_back(over);
        co_await over;
        co_return;
    }
    const auto stop = m_tasks.token();
    co_await refreshStates(stop);
    co_await refreshAutomation(stop);
    co_await refreshClaude(stop);
    m_refreshing = false;
    for (const auto &joined : std::exchange(m_refreshJoined, {}))
        joined.fire();
}

Task<> AppState::refreshStates(std::stop_token stop) {
    PermissionStates states;
    for (const auto &permission : Permissions::all) {
        const auto state = co_await backgroundWithin(Permissions::LIMIT, stop,
                                                     [id = permission.id] { return Permissions::state(id); });
        states[permission.id] = state.value_or(Permission::State::unknown);
    }
    if (!stop.stop_requested())
        permStates = states;
}

Task<> AppState::refreshAutomation(std::stop_token stop) {
    const auto states = co_await backgroundWithin(Permissions::LIMIT, stop, AppAutomation::states);
    if (states && !stop.stop_requested())
        setAppAutomation(*states);
}

Task<> AppState::refreshClaude(std::stop_token stop) {
    if (m_claudeCheckedAt && Clock::secondsSince(*m_claudeCheckedAt) <= CLAUDE_CHECK_SECONDS)
        co_return;
    m_claudeCheckedAt = Clock::now();
    const auto state = co_await Claude::check(stop);
    if (!stop.stop_requested())
        claude = state;
}

void AppState::setAppAutomation(const PermissionStates &states) {
    if (appAutomation == states)
        return;
    appAutomation = states;
    if (const auto written = settings.write(u"appAutomation"_s, toText(states)); !written)
        emit(u"✗ "_s + written.error().description, EventKind::warn);
}

} // namespace ombru
