#include "platform/Consent.h"

#include "base/SystemEvents.h"
#include "platform/linux/applications/KnownApplication.h"
#include "platform/linux/consent/ConsentCheck.h"
#include "platform/linux/consent/PromptLock.h"

#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Result<> mayDecide() {
    if (!mayServeAScript())
        return {};
    return std::unexpected(
        Failure{u"consent"_s, 2, u"A script cannot decide what it may control; only you can, outside of it."_s});
}

QString clientIdentity(const QString &given) {
    const auto real = given.startsWith(u'/') ? QFileInfo(given).canonicalFilePath() : QString();
    return real.isEmpty() ? given : real;
}

// No application's identifier can hide that System Events is meant, and no name an identifier.
QString applicationIdentity(const QString &given) {
    const auto withId = isSystemEventsName(given) ? std::nullopt : knownApplication(given);
    const auto known = withId ? withId : knownApplicationNamed(given);
    return known ? known->id : given;
}

using Key = std::pair<QString, QString>; // client and application, as new decisions are kept

Key keyOf(const QString &client, const QString &application) {
    return {consentIdentity(ConsentParty::client, client), consentIdentity(ConsentParty::application, application)};
}

// From before the application was installed, or the program became a link: then it stands under what was given.
Result<> forgetOutdated(ConsentRecord &record, const QString &client, const QString &application, const Key &key) {
    return Key(client, application) == key ? Result<>() : record.forget(client, application);
}

} // namespace

QString consentDatabase() {
    return consentDatabase(ownEnvironment());
}

QString ownConsentClient() {
    return OMBRU_CLIENT.toString();
}

QString consentIdentity(ConsentParty party, const QString &given) {
    return party == ConsentParty::client ? clientIdentity(given) : applicationIdentity(given);
}

std::shared_ptr<void> pauseScriptedInput() {
    auto lock = PromptLock::forPrompt(consentDatabase());
    return lock ? std::make_shared<PromptLock>(std::move(*lock)) : nullptr;
}

Result<std::vector<ConsentDecision>> consentDecisions() {
    return ConsentRecord(consentDatabase()).decisions();
}

std::optional<QMap<QString, bool>> ownConsentDecisions() {
    return ConsentRecord(consentDatabase()).decisionsOf(ownConsentClient()).value_or(std::nullopt);
}

Result<> offerConsent(const QString &client, const QString &application) {
    const auto [asking, asked] = keyOf(client, application);
    if (askForConsentAgain({asking, std::nullopt}, asked, runForOwner) != ConsentAnswer::nobodyThere)
        return {};
    return std::unexpected(Failure{u"consent"_s, 3,
                                   u"The window that asks you could not be shown, or was not answered. In a terminal, "
                                   u"`ombru consent allow` decides as well."_s});
}

Result<> decideConsent(const QString &client, const QString &application, bool allowed) {
    if (const auto may = mayDecide(); !may)
        return may;
    ConsentRecord record(consentDatabase());
    const auto key = keyOf(client, application);
    if (const auto done = record.decide(key.first, key.second, allowed); !done)
        return done;
    return forgetOutdated(record, client, application, key);
}

Result<> forgetConsent(const QString &client, const QString &application) {
    if (const auto may = mayDecide(); !may)
        return may;
    ConsentRecord record(consentDatabase());
    const auto key = keyOf(client, application);
    if (const auto done = record.forget(key.first, key.second); !done)
        return done;
    return forgetOutdated(record, client, application, key);
}

} // namespace ombru
