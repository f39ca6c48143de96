#include "platform/AppleEvents.h"

#include "platform/Consent.h"
#include "platform/Workspace.h"
#include "platform/linux/consent/ConsentCheck.h"

namespace ombru {

std::int32_t determineAutomation(const QString &id, bool ask) {
    if (id.isEmpty() || id.contains(QChar(u'\0')))
        return AUTOMATION_BAD_TARGET;
    if (!applicationRuns(id)) // nor does what is called by a name: only an identifier says which one is meant
        return AUTOMATION_NOT_RUNNING;
    const auto application = consentIdentity(ConsentParty::application, id);
    return ConsentCheck({ownConsentClient(), std::nullopt}).automation(application, ask);
}

} // namespace ombru
