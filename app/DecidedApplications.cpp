#include "app/DecidedApplications.h"

#include "base/Text.h"
#include "platform/Consent.h"

#include <QSet>

namespace ombru {

namespace {

constexpr qsizetype LONGEST_NAME = 60;

} // namespace

DecidedApplications decidedApplications(const PermissionStates &states) {
    DecidedApplications result;
    QSet<QString> shown;
    for (const auto &application : AppAutomation::candidates) {
        if (!states.contains(application.id))
            continue;
        result.all.push_back({application, states.value(application.id)});
        shown.insert(consentIdentifier(application.id));
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

} // namespace ombru
