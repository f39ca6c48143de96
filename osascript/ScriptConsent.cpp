#include "osascript/ScriptConsent.h"

#include "base/Text.h"
#include "osascript/RunBlocking.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONGEST_NAME = 255;
const QString ADVICE = u" The owner has not allowed scripts to use this application: ask the owner instead of trying "
                       "another way."_s;

} // namespace

Failure notAuthorized(const QString &application) {
    return {u"consent"_s, AUTOMATION_REFUSED,
            u"Not authorized to send Apple events to %1."_s.arg(shownLine(application, LONGEST_NAME))};
}

Failure notAllowed(const QString &application) {
    auto failure = notAuthorized(application);
    failure.description += ADVICE;
    return failure;
}

bool ScriptConsent::allows(const QString &application) {
    return check().automation(application, true) == AUTOMATION_ALLOWED;
}

std::optional<bool> ScriptConsent::decision(const QString &application) {
    const auto decided = check().automation(application, false);
    return decided == AUTOMATION_UNDECIDED ? std::nullopt : std::optional(decided == AUTOMATION_ALLOWED);
}

QString ScriptConsent::database() {
    return check().database();
}

const QString &ScriptConsent::client() {
    return check().client();
}

ConsentCheck &ScriptConsent::check() {
    const auto run = [this](const QStringList &words, const Environment &environment) {
        // Ends with the script that waits for it, and with the time that the script gives the event.
        auto outcome = runBlocking(words, {}, environment, m_limit->end());
        return outcome ? Result<int>(outcome->status) : std::unexpected(outcome.error());
    };
    if (!m_check)
        m_check.emplace(askingClient(), run);
    return *m_check;
}

} // namespace ombru
