// The owner's decisions as a database file: SQLite in WAL mode, private to its owner, one row per client and
// application. The one place that knows its layout. Its identities are compared as they stand; Consent.h finds them.
//
// One thread at a time; other programs may use the file meanwhile. Failures have domain "consent" and name the file.
// What is not exactly such a record (damaged, newer, somebody else's, locked for longer than a moment) is a Failure and
// is never changed.
#pragma once
#include "platform/Consent.h"

#include <memory>
#include <optional>

namespace ombru {

// What of a record's files differs once somebody has written it: cheaper to look at than to ask it.
struct ConsentRecordState {
    struct Part {
        quint64 inode = 0; // 0: it is not there
        qint64 size = 0;
        qint64 changed = 0; // nanoseconds

        bool operator==(const Part &) const = default;
    };
    Part file;
    Part log;

    bool operator==(const ConsentRecordState &) const = default;
};
ConsentRecordState consentRecordState(const QString &path);

class ConsentRecord {
public:
    explicit ConsentRecord(const QString &path); // touches nothing; the file need not exist
    ~ConsentRecord();

    // Whether it is allowed; none when nothing was decided. What another program has written before the call counts.
    // Stays open, so that asking again costs microseconds.
    Result<std::optional<bool>> decision(const QString &client, const QString &application);

    Result<std::vector<ConsentDecision>> decisions(); // sorted by client and application; empty without a file

    // Whether each application that there is a decision about for that client is allowed. None without a record.
    Result<std::optional<QMap<QString, bool>>> decisionsOf(const QString &client);

    // The first one makes the file. `time` is the moment of writing.
    Result<> decide(const QString &client, const QString &application, bool allowed);
    Result<> forget(const QString &client, const QString &application);

private:
    struct Reader;

    Result<Reader *> reader(); // null: there is no record yet

    QString m_path;
    std::unique_ptr<Reader> m_reader;
};

} // namespace ombru
