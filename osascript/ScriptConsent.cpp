#include "osascript/ScriptConsent.h"

#include "osascript/RunBlocking.h"

namespace ombru {

bool ScriptConsent::allows(const QString &application) {
    return check().automation(application, true) == AUTOMATION_ALLOWED;
}

QString ScriptConsent::database() {
    return check().database();
}

ConsentCheck &ScriptConsent::check() {
    const auto run = [](const QStringList &words, const Environment &environment) {
        auto outcome = runBlocking(words, {}, environment); // ends with the script that waits for it
        return outcome ? Result<int>(outcome->status) : std::unexpected(outcome.error());
    };
    if (!m_check)
        m_check.emplace(askingClient(), run);
    return *m_check;
}

} // namespace ombru
