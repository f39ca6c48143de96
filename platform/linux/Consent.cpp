#include "platform/Consent.h"

#include "platform/linux/consent/ConsentCheck.h"
#include "platform/linux/consent/PromptLock.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Result<> mayDecide() {
    if (!runsBelowScript())
        return {};
    return std::unexpected(
        Failure{u"consent"_s, 2, u"A script cannot decide what it may control; only you can, outside of it."_s});
}

using Key = std::pair<QString, QString>; // client and application, as new decisions are kept

Key keyOf(const QString &client, const QString &application) {
    return {clientKey(client), consentKey(application)};
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

QString consentIdentifier(const QString &application) {
    return consentKey(application);
}

std::shared_ptr<void> pauseScriptedInput() {
    auto lock = PromptLock::forPrompt(consentDatabase());
    return lock ? std::make_shared<PromptLock>(std::move(*lock)) : nullptr;
}

Result<std::vector<ConsentDecision>> consentDecisions() {
    return ConsentRecord(consentDatabase()).decisions();
}

Result<> offerConsent(const QString &client, const QString &application) {
    const ConsentClient asking{clientKey(client), std::nullopt};
    if (askForConsentAgain(asking, consentKey(application), runForOwner) != ConsentAnswer::nobodyThere)
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
