#include "platform/linux/consent/ConsentCheck.h"

#include <QDir>

namespace ombru {

using namespace Qt::StringLiterals;

QString consentDatabase(const Environment &environment) {
    const auto value = [&](const char *name) {
        const auto variable = environment.find(name);
        return variable == environment.end() ? QString() : QString::fromUtf8(variable->second);
    };
    const auto data = value("XDG_DATA_HOME");
    const auto directory = QDir::isAbsolutePath(data) ? data : value("HOME") + u"/.local/share"_s;
    return directory + u"/ombru/consent.db"_s;
}

ConsentCheck::ConsentCheck(ConsentClient client, RunToEnd run)
    : m_client(std::move(client)), m_run(std::move(run)), m_record(database()) {}

QString ConsentCheck::database() const {
    return consentDatabase(m_client.environment.value_or(ownEnvironment()));
}

std::int32_t ConsentCheck::automation(const QString &application, bool ask) {
    const auto decided = m_record.decision(m_client.id, application);
    if (decided && *decided)
        return **decided ? AUTOMATION_ALLOWED : AUTOMATION_REFUSED;
    if (!ask)
        return AUTOMATION_UNDECIDED;
    switch (askForConsent(m_client, application, m_run)) {
    case ConsentAnswer::allowed:
        return AUTOMATION_ALLOWED;
    case ConsentAnswer::refused:
        return AUTOMATION_REFUSED;
    case ConsentAnswer::nobodyThere:
        return AUTOMATION_UNDECIDED;
    }
    Q_UNREACHABLE();
}

} // namespace ombru
