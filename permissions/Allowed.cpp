#include "permissions/Allowed.h"

#include "base/Background.h"
#include "base/Text.h"
#include "platform/Consent.h"

#include <QSet>

namespace ombru {

using namespace Qt::StringLiterals;

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

// The first two at once: both may wait for the same display.
Task<PermissionStates> lookAtPermissions(std::stop_token stop, Clock::Duration limit) {
    const auto look = [&](const QString &id) {
        return backgroundWithin(limit, stop, [id] { return Permissions::state(id); });
    };
    auto lookingAtScreen = look(u"screen"_s);
    auto lookingAtInput = look(u"accessibility"_s);
    const auto unknown = Permission::State::unknown;
    PermissionStates states;
    states[u"screen"_s] = (co_await std::move(lookingAtScreen)).value_or(unknown);
    states[u"accessibility"_s] = (co_await std::move(lookingAtInput)).value_or(unknown);
    states[u"automation"_s] = (co_await look(u"automation"_s)).value_or(unknown);
    co_return states;
}

Task<Allowed> lookAtAllowed(std::stop_token stop, std::function<void(const PermissionStates &)> onPermissions,
                            Clock::Duration limit) {
    const auto permissions = co_await lookAtPermissions(stop, limit);
    if (onPermissions && !stop.stop_requested())
        onPermissions(permissions);
    Allowed allowed;
    allowed.permissions = permissions;
    allowed.problem = UNANSWERED;
    const auto states = co_await backgroundWithin(limit, stop, AppAutomation::states);
    if (!states)
        co_return allowed;
    allowed.applications = *states;
    allowed.answered = true;
    const auto others = co_await backgroundWithin(limit, stop, [usual = *states] { return othersBeside(usual); });
    if (!others)
        co_return allowed;
    allowed.problem = *others ? QString() : others->error().description;
    allowed.others = others->value_or(std::vector<AllowedApplication>());
    co_return allowed;
}

} // namespace ombru
