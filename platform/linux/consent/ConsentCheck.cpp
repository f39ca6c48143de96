#include "platform/linux/consent/ConsentCheck.h"

#include "platform/linux/applications/DesktopApplications.h"
#include "platform/linux/applications/InstalledApplications.h"

#include <QDir>
#include <QFileInfo>

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

QString consentKey(const QString &id) {
    if (id.compare(u"System Events"_s, Qt::CaseInsensitive) == 0)
        return SYSTEM_EVENTS;
    const auto installed = installedApplications();
    const auto *entry = isSystemEvents(id) || installed->withId(id) ? nullptr : installed->named(id);
    return entry ? entry->id : identifierKey(id);
}

QString identifierKey(const QString &id) {
    if (isSystemEvents(id))
        return SYSTEM_EVENTS;
    const auto installed = installedApplications();
    const auto *entry = installed->withId(id);
    return entry ? entry->id : id;
}

QString clientKey(const QString &client) {
    const auto real = client.startsWith(u'/') ? QFileInfo(client).canonicalFilePath() : QString();
    return real.isEmpty() ? client : real;
}

ConsentCheck::ConsentCheck(ConsentClient client, RunToEnd run)
    : m_client(std::move(client)), m_run(std::move(run)), m_record(database()) {}

QString ConsentCheck::database() const {
    return consentDatabase(m_client.environment.value_or(ownEnvironment()));
}

std::int32_t ConsentCheck::automation(const QString &key, bool ask) {
    const auto decided = m_record.decision(m_client.id, key);
    if (decided && *decided)
        return **decided ? AUTOMATION_ALLOWED : AUTOMATION_REFUSED;
    if (!ask)
        return AUTOMATION_UNDECIDED;
    switch (askForConsent(m_client, key, m_run)) {
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
