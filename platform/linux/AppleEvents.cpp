#include "platform/AppleEvents.h"

#include "platform/Consent.h"
#include "platform/Workspace.h"
#include "platform/linux/consent/ConsentCheck.h"

namespace ombru {

std::int32_t determineAutomation(const QString &id, bool ask) {
    if (id.isEmpty() || id.contains(QChar(u'\0')))
        return AUTOMATION_BAD_TARGET;
    const auto key = identifierKey(id);
    if (!applicationRuns(key))
        return AUTOMATION_NOT_RUNNING;
    return ConsentCheck({ownConsentClient(), std::nullopt}).automation(key, ask);
}

} // namespace ombru
