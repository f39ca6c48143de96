#include "app/cli/DecidedApplications.h"

#include "base/Background.h"
#include "base/Text.h"
#include "permissions/Permissions.h"
#include "platform/Consent.h"

#include <QSet>

namespace ombru {

namespace {

constexpr qsizetype LONGEST_NAME = 60;

DecidedApplications lookUp(const PermissionStates &states) {
    DecidedApplications result;
    QSet<QString> shown;
    for (const auto &application : AppAutomation::candidates) {
        if (!states.contains(application.id))
            continue;
        result.all.push_back({application, states.value(application.id)});
        shown.insert(consentIdentity(ConsentParty::application, application.id));
    }
    const auto decisions = consentDecisions();
    if (!decisions) {
        result.problem = decisions.error().description;
        return result;
    }
    for (const auto &decision : *decisions) {
        const auto &id = decision.application;
        if (decision.client != ownConsentClient() || shown.contains(id))
            continue;
        result.all.push_back({{id, shownLine(AppAutomation::displayName(id).value_or(id), LONGEST_NAME)},
                              decision.allowed ? Permission::State::granted : Permission::State::missing});
    }
    return result;
}

} // namespace

Task<DecidedApplications> decidedApplications(std::function<PermissionStates()> states, std::stop_token stop) {
    const auto found = co_await backgroundWithin(Permissions::LIMIT, std::move(stop),
                                                 [states = std::move(states)] { return lookUp(states()); });
    co_return found.value_or(DecidedApplications{{}, QStringLiteral("The computer did not answer in time.")});
}

} // namespace ombru
