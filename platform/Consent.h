// What the owner has decided about events from programs to applications: the record that the system keeps. Any thread
// but the main one: reads and writes a database. Failures have domain "consent".
#pragma once
#include "base/Failure.h"

#include <QDateTime>
#include <QMap>
#include <QString>

#include <optional>
#include <vector>

namespace ombru {

// Full path of the file that the system keeps it in. It need not exist, nor be readable by this program.
QString consentDatabase();

// The identifier under which this program is a client there.
QString ownConsentClient();

enum class ConsentParty { client, application }; // who sends, and who receives

// The identity of a party: the one text under which each decision about it is written, read and asked for, whatever it
// was called.
// An application is its identifier on this desktop, given that, one that other systems have for it, or a name of it.
// One that is not known here is what was given, as it stands. A client is a program's full path without links, as its
// processes show it, given any path of it; or else what was given, as it stands: never by a name, which another program
// could have, too.
QString consentIdentity(ConsentParty party, const QString &given);

struct ConsentDecision {
    QString client; // both as consentIdentity() had them
    QString application;
    bool allowed = false;
    QDateTime time; // of the decision; invalid when it was not recorded

    bool operator==(const ConsentDecision &) const = default;
};

// Every decision, sorted by client and application; none when the record does not exist yet. A Failure when it cannot
// be read.
Result<std::vector<ConsentDecision>> consentDecisions();

// Whether each application that ownConsentClient() has a decision about is allowed. None when the record cannot be
// read, which is usual where the system keeps it to itself, or when there is none yet.
std::optional<QMap<QString, bool>> ownConsentDecisions();

// Asks the owner, as the system asks for every consent, whether that client may control the application, though it may
// have been refused before. The only way to allow it: no program says yes in the owner's place. Blocks until there is an
// answer, which is recorded; gives whether it is allowed. A Failure when nobody could be asked, or a script would be the
// one that asks.
Result<bool> offerConsent(const QString &client, const QString &application);

// Writes a refusal, for the identities of what is given. A Failure when the system keeps its record to itself, or it
// cannot be written.
Result<> refuseConsent(const QString &client, const QString &application);

// Takes a decision back, so that the owner is asked again; fine when there is none. To take back a refusal the owner is
// asked first, as by offerConsent(). Gives whether it was taken back.
Result<bool> forgetConsent(const QString &client, const QString &application);

} // namespace ombru
