#include "platform/Consent.h"

#include "base/SystemEvents.h"
#include "base/Text.h"
#include "platform/linux/applications/KnownApplication.h"
#include "platform/linux/consent/ConsentCheck.h"
#include "platform/linux/consent/DisplayAbove.h"
#include "platform/linux/consent/TerminalPrompt.h"

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

using Ask = ConsentAnswer (*)(const ConsentClient &client, const QString &application, const RunToEnd &run);

// In a window, or on a terminal where there is no display for one.
Result<bool> askOwner(Ask ask, const QString &question, const Key &key) {
    constexpr qsizetype LONGEST = 240;
    if (const auto may = mayDecide(); !may)
        return std::unexpected(may.error());
    if (hasDisplay(ownEnvironment())) {
        const auto answer = ask({key.first, std::nullopt}, key.second, runForOwner);
        if (answer != ConsentAnswer::nobodyThere)
            return answer == ConsentAnswer::allowed;
    } else if (isBelowADisplay()) {
        return std::unexpected(Failure{u"consent"_s, 3,
                                       u"The question could not be put to you here: what started this has a display, "
                                       u"where it belongs. Run it with DISPLAY or WAYLAND_DISPLAY as it is there."_s});
    } else if (const auto yes = askAtTerminal(
                   question.arg(shownLine(key.first, LONGEST), shownLine(key.second, LONGEST)), consentDatabase())) {
        return *yes;
    }
    return std::unexpected(Failure{u"consent"_s, 3,
                                   u"The question could not be put to you, or was not answered: it needs a display, or "
                                   u"a terminal where there is none."_s});
}

Result<bool> isRefused(ConsentRecord &record, const Key &key, const Key &given) {
    for (const auto &[client, application] : {key, given}) {
        const auto decision = record.decision(client, application);
        if (!decision)
            return std::unexpected(decision.error());
        if (*decision && !**decision)
            return true;
    }
    return false;
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

Result<std::vector<ConsentDecision>> consentDecisions() {
    return ConsentRecord(consentDatabase()).decisions();
}

std::optional<QMap<QString, bool>> ownConsentDecisions() {
    return ConsentRecord(consentDatabase()).decisionsOf(ownConsentClient()).value_or(std::nullopt);
}

Result<bool> offerConsent(const QString &client, const QString &application) {
    const auto key = keyOf(client, application);
    ConsentRecord record(consentDatabase());
    const auto before = record.decision(key.first, key.second);
    if (!before)
        return std::unexpected(before.error());
    if (*before == true)
        return true;
    const auto allowed = askOwner(askForConsentAgain, u"Let %1 control %2?"_s, key);
    if (!allowed)
        return std::unexpected(allowed.error());
    if (const auto done = *allowed ? record.decide(key.first, key.second, true) : Result<>(); !done)
        return std::unexpected(done.error());
    if (const auto done = forgetOutdated(record, client, application, key); !done)
        return std::unexpected(done.error());
    return *allowed;
}

Result<> refuseConsent(const QString &client, const QString &application) {
    ConsentRecord record(consentDatabase());
    const auto key = keyOf(client, application);
    if (const auto done = record.decide(key.first, key.second, false); !done)
        return done;
    return forgetOutdated(record, client, application, key);
}

Result<bool> forgetConsent(const QString &client, const QString &application) {
    ConsentRecord record(consentDatabase());
    const auto key = keyOf(client, application);
    const auto refused = isRefused(record, key, {client, application});
    if (!refused)
        return std::unexpected(refused.error());
    const auto meant =
        *refused ? askOwner(askToForget, u"Forget that you have not allowed %1 to control %2?"_s, key) : true;
    if (!meant || !*meant)
        return meant;
    if (const auto done = record.forget(key.first, key.second); !done)
        return std::unexpected(done.error());
    if (const auto done = forgetOutdated(record, client, application, key); !done)
        return std::unexpected(done.error());
    return true;
}

} // namespace ombru
