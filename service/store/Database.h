// A SQLite database through its C interface: statements in, rows out, failures as values. One thread at a time.
//
//     const auto email = database.row("SELECT email FROM accounts WHERE id = ?", [](const Row &row) { return
//     row.text(0); }, id);
//
// A statement is a literal: it is prepared once and known again by its address. Beside SQLite's functions it has
// says(text, words), which finds them whatever their case, in any language.
#pragma once
#include "base/Failure.h"
#include "service/store/Reserve.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <unordered_map>
#include <vector>

namespace ombru {

// Whether there is no room left for what was to be kept.
bool isDiskFull(const Failure &failure);

class Row {
public:
    explicit Row(sqlite3_stmt *statement) : m_statement(statement) {}

    bool isNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    qint64 integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    double real(int column) const { return sqlite3_column_double(m_statement, column); }
    bool boolean(int column) const { return integer(column) != 0; }
    QString text(int column) const;
    QByteArray bytes(int column) const;
    std::optional<qint64> maybeInteger(int column) const;
    std::optional<double> maybeReal(int column) const;

private:
    sqlite3_stmt *m_statement;
};

class Database {
public:
    enum class Mode { make, existing, readOnly };

    // Made private to its owner. A Failure has domain "store", the library's code, and names the file.
    static Result<std::unique_ptr<Database>> open(const QString &path, Mode mode);

    template <class... Values>
    Result<> run(const char *statement, const Values &...values) {
        return step(statement, nullptr, values...);
    }
    template <class Read, class... Values>
    auto rows(const char *statement, Read read, const Values &...values)
        -> Result<std::vector<std::invoke_result_t<Read, const Row &>>> {
        std::vector<std::invoke_result_t<Read, const Row &>> all;
        const auto done = step(statement, [&](const Row &row) { all.push_back(read(row)); }, values...);
        if (!done)
            return std::unexpected(done.error());
        return all;
    }
    template <class Read, class... Values>
    auto row(const char *statement, Read read, const Values &...values)
        -> Result<std::optional<std::invoke_result_t<Read, const Row &>>> {
        std::optional<std::invoke_result_t<Read, const Row &>> first;
        const auto done = step(
            statement,
            [&](const Row &row) {
                if (!first)
                    first.emplace(read(row));
            },
            values...);
        if (!done)
            return std::unexpected(done.error());
        return first;
    }
    Result<> script(const char *statements); // several, without values

    // All of `work` or nothing of it.
    template <class Work>
    auto transaction(Work work) -> std::invoke_result_t<Work> {
        if (const auto begun = script("BEGIN IMMEDIATE"); !begun)
            return std::unexpected(begun.error());
        auto result = work();
        if (result) {
            const auto kept = script("COMMIT");
            if (kept)
                return result;
            result = std::unexpected(kept.error());
        }
        static_cast<void>(script("ROLLBACK")); // some failures have rolled back already
        return result;
    }

    // What is written ahead grows until it is moved into place; on a full disk that may be all the room there is.
    template <class Work>
    auto keeping(Work work) -> std::invoke_result_t<Work> {
        auto done = work();
        if (done || !isDiskFull(done.error()))
            return done;
        moveIntoPlace();
        return work();
    }

    // Work that makes room, or that whoever makes room needs first: on a full disk it gets the reserve.
    template <class Work>
    auto makingRoom(Work work) -> std::invoke_result_t<Work> {
        auto done = work();
        if (done || !m_reserve || !isDiskFull(done.error()))
            return done;
        m_reserve->release();
        moveIntoPlace();
        done = work();
        moveIntoPlace();
        m_reserve->fill();
        return done;
    }
    void keepReserve(Reserve reserve);

    void moveIntoPlace(); // what has been written ahead, so that its file begins anew
    void fillReserve();   // with what has become free since
    bool hasRoom() const { return !m_reserve || !m_reserve->isAlone(); }

    qint64 lastId() const { return sqlite3_last_insert_rowid(m_handle.get()); }
    int changes() const { return sqlite3_changes(m_handle.get()); }
    const QString &path() const { return m_path; }

    // All of it into another one, page by page.
    Result<> copyTo(Database &other);

private:
    using Handle = std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)>;
    using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

    Database(QString path, Handle handle) : m_path(std::move(path)), m_handle(std::move(handle)) {}

    template <class... Values>
    Result<> step(const char *statement, const std::function<void(const Row &)> &each, const Values &...values) {
        const auto prepared = prepare(statement);
        if (!prepared)
            return std::unexpected(prepared.error());
        int place = 0;
        (bind(*prepared, ++place, values), ...);
        return walk(*prepared, each);
    }
    Result<sqlite3_stmt *> prepare(const char *statement);
    Result<> walk(sqlite3_stmt *statement, const std::function<void(const Row &)> &each);
    Failure failure() const;

    static void bind(sqlite3_stmt *statement, int place, qint64 value);
    static void bind(sqlite3_stmt *statement, int place, int value) { bind(statement, place, qint64(value)); }
    static void bind(sqlite3_stmt *statement, int place, bool value) { bind(statement, place, qint64(value)); }
    static void bind(sqlite3_stmt *statement, int place, double value);
    static void bind(sqlite3_stmt *statement, int place, const QString &value);
    static void bind(sqlite3_stmt *statement, int place, const QByteArray &value);
    static void bind(sqlite3_stmt *statement, int place, std::nullptr_t);
    template <class Value>
    static void bind(sqlite3_stmt *statement, int place, const std::optional<Value> &value) {
        value ? bind(statement, place, *value) : bind(statement, place, nullptr);
    }

    const QString m_path;
    Handle m_handle;
    std::optional<Reserve> m_reserve;
    std::unordered_map<const char *, Statement> m_statements; // before the handle goes
};

} // namespace ombru
