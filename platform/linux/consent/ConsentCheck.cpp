#include "platform/linux/consent/ConsentCheck.h"

#include <QDir>

#include <array>
#include <pwd.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Nobody changes it for one program.
QString accountsHome() {
    std::array<char, 16'384> memory{};
    passwd entry{};
    passwd *found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, memory.data(), memory.size(), &found);
    return found ? QFile::decodeName(entry.pw_dir) : QString();
}

QString recordIn(const QString &data) {
    return data + u"/ombru/consent.db"_s;
}

} // namespace

QString consentDatabase(const Environment &environment) {
    if (isInstalled())
        return recordIn(accountsHome() + u"/.local/share"_s);
    const auto value = [&](const char *name) {
        const auto variable = environment.find(name);
        return variable == environment.end() ? QString() : QString::fromUtf8(variable->second);
    };
    const auto data = value("XDG_DATA_HOME");
    const auto home = value("HOME");
    return recordIn(QDir::isAbsolutePath(data) ? data : (home.isEmpty() ? accountsHome() : home) + u"/.local/share"_s);
}

ConsentCheck::ConsentCheck(ConsentClient client, RunToEnd run)
    : m_client(std::move(client)), m_run(std::move(run)), m_record(database()) {}

QString ConsentCheck::database() const {
    return consentDatabase(m_client.environment.value_or(ownEnvironment()));
}

std::int32_t ConsentCheck::automation(const QString &application, bool ask) {
    if (!m_client.mayBeAllowed)
        return AUTOMATION_REFUSED;
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
