#include "platform/Consent.h"

#include "platform/linux/ConsentCheck.h"
#include "platform/linux/PromptLock.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// The window that asks is the one program which a script may start and which decides.
Result<> mayDecide() {
    const auto program = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    if (program == u"ombru-consent-prompt"_s || !runsBelowScript())
        return {};
    return std::unexpected(
        Failure{u"consent"_s, 2, u"A script cannot decide what it may control; only you can, outside of it."_s});
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

Result<> decideConsent(const QString &client, const QString &application, bool allowed) {
    if (const auto may = mayDecide(); !may)
        return may;
    return ConsentRecord(consentDatabase()).decide(clientKey(client), consentKey(application), allowed);
}

Result<> forgetConsent(const QString &client, const QString &application) {
    if (const auto may = mayDecide(); !may)
        return may;
    return ConsentRecord(consentDatabase()).forget(clientKey(client), consentKey(application));
}

} // namespace ombru
