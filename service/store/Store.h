// What the service keeps: accounts, computers, and what those have told. Behind this header is a SQLite database;
// another store can come in its place. Everything blocks: one thread, its own (StoreQueue.h).
//
// What an operation has kept survives the end of the program, however it ends. What computers tell is in the journal
// before that, two files beside the database (Segment.h). A Failure has domain "store" and says what is wrong with
// which file; isDiskFull() tells one of them.
#pragma once
#include "service/store/Accounts.h"
#include "service/store/Computers.h"
#include "service/store/Database.h"
#include "service/store/History.h"
#include "service/store/JournalFile.h"

#include <QStringList>

#include <memory>

namespace ombru {

struct StoreOptions {
    QString file;
    std::optional<int> mostPages = {}; // of 4 KiB; as much as there is on the disk when it is not said
    qint64 reserve = 24 << 20;         // bytes of the disk that are kept free for making room on it
};

// Where the journal of a service begins.
struct JournalStart {
    Numbering::State numbers = {};
    QByteArray name = {}; // of its first part
    std::array<std::shared_ptr<JournalFile>, JournalFile::COUNT> files = {};
};

class Store {
public:
    // Makes the file when there is none, and brings an older one up to date. A newer one, or one that is no such
    // database, is refused and left as it is.
    static Result<std::unique_ptr<Store>> open(const StoreOptions &options);

    // The same database for questions only, beside the one that keeps: neither waits for the other.
    static Result<std::unique_ptr<Store>> openReader(const QString &file);

    // For a service when it starts. What one has left in the journal is taken in; what does not continue what there is
    // here, or is no journal, is put aside, and the words say so.
    Result<QStringList> takeInJournal();
    Result<JournalStart> beginJournal(); // after that

    // A copy of all of it and of what is in the journal, also while others work on it; `file` must not be there yet.
    static Result<> backup(const QString &from, const QString &file);

    // Puts a copy in the place of what there is. Nobody else may work on it.
    static Result<> restore(const QString &file, const QString &to);

    void fillReserve() { m_database->fillReserve(); } // with what has become free since
    bool hasRoom() const { return m_database->hasRoom(); }

    Accounts accounts;
    Computers computers;
    History history;

private:
    explicit Store(std::unique_ptr<Database> database);
    static Result<std::unique_ptr<Store>> open(const StoreOptions &options, const Reserve &reserve);

    std::unique_ptr<Database> m_database;
};

} // namespace ombru
