// Decisions written straight into the record, as no program that is installed can: for tests and rehearsals, whose
// record is nobody's.
#pragma once
#include "platform/linux/consent/ConsentRecord.h"

#include <QDir>
#include <QFileInfo>

#include <optional>
#include <pwd.h>
#include <unistd.h>

namespace ombru::test {

inline QString accountsHome() {
    const passwd *entry = ::getpwuid(::geteuid());
    return entry ? QFileInfo(QFile::decodeName(entry->pw_dir)).canonicalFilePath() : QString();
}

// Refuses the account's own record.
inline Result<> mayWriteRecord() {
    const QFileInfo directory(QFileInfo(consentDatabase()).path());
    const auto owns = [](const QString &path) {
        return path.startsWith(accountsHome() + QStringLiteral("/.local/share/ombru"));
    };
    const bool own = owns(directory.canonicalFilePath()) || owns(QDir::cleanPath(directory.absoluteFilePath()));
    if (!own && !accountsHome().isEmpty())
        return {};
    return std::unexpected(
        Failure{QStringLiteral("record"), 1,
                QStringLiteral("%1 is the account's own: only its owner decides there.").arg(consentDatabase())});
}

// For the identities of what is given; none: takes the decision back.
inline Result<> writeDecision(const QString &client, const QString &application, std::optional<bool> allowed) {
    if (const auto may = mayWriteRecord(); !may)
        return may;
    ConsentRecord record(consentDatabase());
    const auto by = consentIdentity(ConsentParty::client, client);
    const auto about = consentIdentity(ConsentParty::application, application);
    return allowed ? record.decide(by, about, *allowed) : record.forget(by, about);
}

} // namespace ombru::test
