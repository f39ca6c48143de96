// What the owner has decided about events from programs to applications: the record that the system keeps. Any thread
// but the main one: reads and writes a database. Failures have domain "consent".
#pragma once
#include "base/Failure.h"

#include <QDateTime>
#include <QString>

#include <memory>
#include <vector>

namespace ombru {

// Full path of the SQLite database with the table `access` (columns `service`, `client`, `indirect_object_identifier`,
// `auth_value`: 2 allowed, anything else refused). It need not exist, nor be readable by this program.
QString consentDatabase();

// The identifier under which this program is a client there.
QString ownConsentClient();

// The identifier under which decisions about an application are kept, given any that it is known by.
QString consentIdentifier(const QString &application);

struct ConsentDecision {
    QString client;      // who sends: an application's identifier, or a program's full path
    QString application; // who receives: its identifier
    bool allowed = false;
    QDateTime time; // of the decision; invalid when it was not recorded

    bool operator==(const ConsentDecision &) const = default;
};

// Every decision, sorted by client and application; none when the record does not exist yet. A Failure when it cannot
// be read.
Result<std::vector<ConsentDecision>> consentDecisions();

// Asks the owner, as the system asks for every consent, whether that client may control the application, though it may
// have been refused before. Blocks until there is an answer, which is recorded. A Failure when nobody could be asked.
Result<> offerConsent(const QString &client, const QString &application);

// Writes or replaces one decision, for an application given by any identifier it is known by. A Failure when the system
// keeps its record to itself, or it cannot be written.
Result<> decideConsent(const QString &client, const QString &application, bool allowed);

// While the result lives no script makes keys or clicks, so that what the owner answers is the owner's. Waits until a
// prompt that is open has been answered. Null where that cannot be had; then the owner must not be asked.
std::shared_ptr<void> pauseScriptedInput();

// Takes one back, so that the owner is asked again; fine when there is none.
Result<> forgetConsent(const QString &client, const QString &application);

} // namespace ombru
