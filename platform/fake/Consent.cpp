#include "platform/Consent.h"

#include "platform/fake/FakePlatform.h"

#include <algorithm>
#include <tuple>

namespace ombru {

namespace {

void remove(std::vector<ConsentDecision> &decisions, const QString &client, const QString &application) {
    std::erase_if(decisions, [&](const ConsentDecision &decision) {
        return decision.client == client && decision.application == application;
    });
}

Result<> write(FakeDesktop &desktop, const QString &client, const QString &application, bool allowed) {
    if (desktop.consentFailure)
        return std::unexpected(*desktop.consentFailure);
    remove(desktop.decisions, client, application);
    desktop.decisions.push_back({client, application, allowed, {}});
    return {};
}

} // namespace

QString consentDatabase() {
    return FakePlatform::instance().desktop->consentDatabase;
}

QString ownConsentClient() {
    return FakePlatform::instance().desktop->ownConsentClient;
}

QString consentIdentity(ConsentParty, const QString &given) {
    return FakePlatform::instance().desktop.lock()->consentIdentities.value(given, given);
}

Result<std::vector<ConsentDecision>> consentDecisions() {
    if (const auto before = FakePlatform::instance().desktop.lock()->beforeListingDecisions)
        before();
    const auto desktop = FakePlatform::instance().desktop.lock();
    if (desktop->consentFailure)
        return std::unexpected(*desktop->consentFailure);
    auto decisions = desktop->decisions;
    std::ranges::sort(decisions, {}, [](const ConsentDecision &decision) {
        return std::tuple(decision.client, decision.application);
    });
    return decisions;
}

std::optional<QMap<QString, bool>> ownConsentDecisions() {
    const auto desktop = FakePlatform::instance().desktop.lock();
    if (desktop->consentFailure)
        return std::nullopt;
    QMap<QString, bool> own;
    for (const auto &decision : desktop->decisions) {
        if (decision.client == desktop->ownConsentClient)
            own[decision.application] = decision.allowed;
    }
    return own;
}

Result<bool> offerConsent(const QString &client, const QString &application) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    ++desktop->offers;
    if (!desktop->offerAnswer)
        return std::unexpected(Failure{QStringLiteral("consent"), 3, QStringLiteral("nobody there")});
    if (const auto done = write(*desktop, client, application, *desktop->offerAnswer); !done)
        return std::unexpected(done.error());
    return *desktop->offerAnswer;
}

Result<> refuseConsent(const QString &client, const QString &application) {
    return write(*FakePlatform::instance().desktop.lock(), client, application, false);
}

Result<bool> forgetConsent(const QString &client, const QString &application) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    if (desktop->consentFailure)
        return std::unexpected(*desktop->consentFailure);
    remove(desktop->decisions, client, application);
    return true;
}

} // namespace ombru
