#include "permissions/Allowed.h"

#include "base/Background.h"
#include "base/Text.h"
#include "permissions/Permissions.h"
#include "platform/Consent.h"

#include <QSet>

namespace ombru {

namespace {

constexpr qsizetype LONGEST_NAME = 60;

AllowedApplication decided(const QString &id, bool allowed) {
    const auto name = shownLine(AppAutomation::displayName(id).value_or(id), LONGEST_NAME);
    return {{id, name}, allowed ? Permission::State::granted : Permission::State::missing};
}

std::vector<AllowedApplication> othersIn(const std::vector<ConsentDecision> &decisions, const PermissionStates &usual) {
    QSet<QString> known;
    for (const auto &id : usual.keys())
        known.insert(consentIdentity(ConsentParty::application, id));
    std::vector<AllowedApplication> others;
    for (const auto &decision : decisions) {
        if (decision.client == ownConsentClient() && !known.contains(decision.application))
            others.push_back(decided(decision.application, decision.allowed));
    }
    return others;
}

// What the owner has decided about others than the usual applications, or why that cannot be read.
Result<std::vector<AllowedApplication>> othersBeside(const PermissionStates &usual) {
    const auto decisions = consentDecisions();
    if (!decisions)
        return std::unexpected(decisions.error());
    return othersIn(*decisions, usual);
}

const QString UNANSWERED = QStringLiteral("The computer did not answer in time.");

} // namespace

std::vector<AllowedApplication> Allowed::allApplications() const {
    std::vector<AllowedApplication> all;
    for (const auto &application : AppAutomation::candidates) {
        if (const auto state = applications.find(application.id); state != applications.end())
            all.push_back({application, *state});
    }
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

Task<PermissionStates> lookAtPermissions(std::stop_token stop) {
    PermissionStates states;
    for (const auto &permission : Permissions::all) {
        const auto state = co_await backgroundWithin(Permissions::LIMIT, stop,
                                                     [id = permission.id] { return Permissions::state(id); });
        states[permission.id] = state.value_or(Permission::State::unknown);
    }
    co_return states;
}

Task<Allowed> lookAtAllowed(std::stop_token stop, std::function<void(const PermissionStates &)> onPermissions) {
    const auto permissions = co_await lookAtPermissions(stop);
    if (onPermissions && !stop.stop_requested())
        onPermissions(permissions);
    Allowed allowed;
    allowed.permissions = permissions;
    allowed.problem = UNANSWERED;
    const auto states = co_await backgroundWithin(Permissions::LIMIT, stop, AppAutomation::states);
    if (!states)
        co_return allowed;
    allowed.applications = *states;
    allowed.answered = true;
    const auto others =
        co_await backgroundWithin(Permissions::LIMIT, stop, [usual = *states] { return othersBeside(usual); });
    if (!others)
        co_return allowed;
    allowed.problem = *others ? QString() : others->error().description;
    allowed.others = others->value_or(std::vector<AllowedApplication>());
    co_return allowed;
}

} // namespace ombru
