#include "service/store/Store.h"

#include "service/store/Leftover.h"
#include "service/store/Schema.h"

#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Failure fileFailure(const QString &why) {
    return {u"store"_s, SQLITE_CANTOPEN, why};
}

Result<> isWhole(Database &database) {
    const auto found = database.row("PRAGMA quick_check(1)", [](const Row &row) { return row.text(0); });
    if (!found)
        return std::unexpected(found.error());
    if (*found != u"ok"_s)
        return std::unexpected(
            fileFailure(u"The database %1 is damaged: %2."_s.arg(database.path(), found->value_or(QString()))));
    return checkVersion(database);
}

// Looked at without a right to write: closing another one would move into place what had been written ahead.
Result<> isNotNewer(const QString &file) {
    if (QFileInfo(file).size() == 0) // also when there is none
        return {};
    const auto database = Database::open(file, Database::Mode::readOnly);
    if (!database)
        return std::unexpected(database.error());
    return checkVersion(**database, IfEmpty::fits);
}

// A copy is one file, wherever it is carried; no journal but what it has got here continues it.
Result<> copyWith(Database &source, Leftovers &left, Database &target) {
    if (const auto copied = source.copyTo(target); !copied)
        return copied;
    if (const auto migrated = migrate(target); !migrated)
        return migrated;
    History history(target);
    if (const auto taken = takeIn(history, left, Taken::stays); !taken)
        return taken;
    if (const auto expected = history.expect(newName()); !expected)
        return expected;
    return target.script("PRAGMA journal_mode = DELETE");
}

} // namespace

Store::Store(std::unique_ptr<Database> database)
    : accounts(*database), computers(*database), history(*database), m_database(std::move(database)) {}

// To open it takes some room, too.
Result<std::unique_ptr<Store>> Store::open(const StoreOptions &options) {
    Reserve reserve(options.file + u"-reserve"_s, options.reserve);
    auto opened = open(options, reserve);
    if (opened || !isDiskFull(opened.error()))
        return opened;
    reserve.release();
    return open(options, reserve);
}

Result<std::unique_ptr<Store>> Store::open(const StoreOptions &options, const Reserve &reserve) {
    if (const auto known = isNotNewer(options.file); !known)
        return std::unexpected(known.error());
    auto database = Database::open(options.file, Database::Mode::make);
    if (!database)
        return std::unexpected(database.error());
    if (const auto migrated = migrate(**database); !migrated)
        return std::unexpected(migrated.error());
    if (const auto changed = (*database)->script("PRAGMA journal_mode = WAL"); !changed)
        return std::unexpected(changed.error());
    if (options.mostPages) {
        const auto limit = "PRAGMA max_page_count = " + std::to_string(*options.mostPages);
        if (const auto limited = (*database)->script(limit.c_str()); !limited)
            return std::unexpected(limited.error());
    }
    (*database)->keepReserve(reserve);
    return std::unique_ptr<Store>(new Store(std::move(*database)));
}

Result<std::unique_ptr<Store>> Store::openReader(const QString &file) {
    auto database = Database::open(file, Database::Mode::readOnly);
    if (!database)
        return std::unexpected(database.error());
    return std::unique_ptr<Store>(new Store(std::move(*database)));
}

Result<QStringList> Store::takeInJournal() {
    auto left = readLeftovers(m_database->path());
    const auto taken = m_database->makingRoom([&] { return takeIn(history, left, Taken::isCleared); });
    if (!taken)
        return std::unexpected(taken.error());
    return putAside(left);
}

Result<JournalStart> Store::beginJournal() {
    JournalStart start{.name = newName()};
    if (const auto expected = m_database->makingRoom([&] { return history.expect(start.name); }); !expected)
        return std::unexpected(expected.error());
    auto numbers = history.numbers();
    if (!numbers)
        return std::unexpected(numbers.error());
    start.numbers = *std::move(numbers);
    const auto paths = JournalFile::of(m_database->path());
    for (std::size_t at = 0; at < paths.size(); ++at) {
        auto file = JournalFile::make(paths[at]);
        if (!file)
            return std::unexpected(file.error());
        start.files[at] = std::make_shared<JournalFile>(*std::move(file));
    }
    return start;
}

// What it has in the journal first: what is taken in meanwhile is in the copy then.
Result<> Store::backup(const QString &from, const QString &file) {
    if (QFile::exists(file))
        return std::unexpected(fileFailure(u"%1 is there already; nothing was written."_s.arg(file)));
    auto source = Database::open(from, Database::Mode::existing);
    if (!source)
        return std::unexpected(source.error());
    if (const auto known = checkVersion(**source); !known)
        return known;
    auto left = readLeftovers(from);
    const auto unfinished = file + u".part"_s;
    QFile::remove(unfinished);
    {
        auto target = Database::open(unfinished, Database::Mode::make);
        const auto copied = target ? copyWith(**source, left, **target) : std::unexpected(target.error());
        if (!copied) {
            QFile::remove(unfinished);
            return copied;
        }
    }
    if (!QFile::rename(unfinished, file))
        return std::unexpected(fileFailure(u"%1 cannot be written."_s.arg(file)));
    return {};
}

Result<> Store::restore(const QString &file, const QString &to) {
    auto source = Database::open(file, Database::Mode::readOnly);
    if (!source)
        return std::unexpected(source.error());
    if (const auto whole = isWhole(**source); !whole)
        return whole;
    auto target = Database::open(to, Database::Mode::make);
    if (!target)
        return std::unexpected(target.error());
    const auto copied = (*source)->copyTo(**target);
    if (copied)
        for (const auto &journal : JournalFile::of(to))
            QFile::remove(journal);
    return copied;
}

} // namespace ombru
