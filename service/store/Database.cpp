#include "service/store/Database.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// What SQLite notes beside the database for a statement has to have room, too, on a full disk.
// Where a thousand computers write, each has a page of its own that comes again and again. What is written ahead may
// become much while somebody reads; its file is cut when it begins anew.
constexpr auto SETTINGS = "PRAGMA foreign_keys = ON; PRAGMA synchronous = NORMAL; PRAGMA temp_store = MEMORY; "
                          "PRAGMA cache_size = -16000; PRAGMA journal_size_limit = 67108864";
constexpr int PATIENCE = 5000; // milliseconds to wait for another program's writing

Failure unusable(const QString &path, int code, const QString &why) {
    return {u"store"_s, code, u"The database %1 cannot be used: %2."_s.arg(path, why)};
}

// Nobody else may read what it keeps; SQLite gives the files beside it the same mode.
Result<> makeFile(const QString &path) {
    const int file = ::open(QFile::encodeName(path).constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0)
        return std::unexpected(unusable(path, SQLITE_CANTOPEN, QString::fromLocal8Bit(std::strerror(errno))));
    ::close(file);
    return {};
}

QString textOf(sqlite3_value *value) {
    const auto *begin = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return QString::fromUtf8(begin, sqlite3_value_bytes(value));
}

// LIKE knows the case of Latin letters without accents only.
void says(sqlite3_context *context, int /*count*/, sqlite3_value **values) {
    sqlite3_result_int(context, textOf(values[0]).contains(textOf(values[1]), Qt::CaseInsensitive) ? 1 : 0);
}

} // namespace

QString Row::text(int column) const {
    const auto *begin = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QString::fromUtf8(begin, sqlite3_column_bytes(m_statement, column));
}

QByteArray Row::bytes(int column) const {
    const auto *begin = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return {begin, sqlite3_column_bytes(m_statement, column)};
}

std::optional<qint64> Row::maybeInteger(int column) const {
    return isNull(column) ? std::nullopt : std::optional(integer(column));
}

std::optional<double> Row::maybeReal(int column) const {
    return isNull(column) ? std::nullopt : std::optional(real(column));
}

Result<std::unique_ptr<Database>> Database::open(const QString &path, Mode mode) {
    if (mode == Mode::make)
        if (const auto made = makeFile(path); !made)
            return std::unexpected(made.error());
    sqlite3 *opened = nullptr;
    const int access = mode == Mode::readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    const int code = sqlite3_open_v2(path.toUtf8().constData(), &opened, access | SQLITE_OPEN_NOMUTEX, nullptr);
    Handle handle(opened, &sqlite3_close_v2);
    if (code != SQLITE_OK)
        return std::unexpected(unusable(path, code, QString::fromUtf8(sqlite3_errstr(code))));
    sqlite3_busy_timeout(handle.get(), PATIENCE);
    sqlite3_create_function_v2(handle.get(), "says", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY, nullptr,
                               &says, nullptr, nullptr, nullptr);
    std::unique_ptr<Database> database(new Database(path, std::move(handle)));
    if (const auto set = database->script(SETTINGS); !set)
        return std::unexpected(set.error());
    return database;
}

Result<> Database::script(const char *statements) {
    if (sqlite3_exec(m_handle.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK)
        return std::unexpected(failure());
    return {};
}

Result<sqlite3_stmt *> Database::prepare(const char *statement) {
    const auto known = m_statements.find(statement);
    if (known != m_statements.end())
        return known->second.get();
    sqlite3_stmt *prepared = nullptr;
    if (sqlite3_prepare_v3(m_handle.get(), statement, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK)
        return std::unexpected(failure());
    m_statements.emplace(statement, Statement(prepared, &sqlite3_finalize));
    return prepared;
}

Result<> Database::walk(sqlite3_stmt *statement, const std::function<void(const Row &)> &each) {
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW)
        if (each)
            each(Row(statement));
    const auto told = code == SQLITE_DONE ? Result<>() : std::unexpected(failure());
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return told;
}

Failure Database::failure() const {
    return unusable(m_path, sqlite3_extended_errcode(m_handle.get()),
                    QString::fromUtf8(sqlite3_errmsg(m_handle.get())));
}

void Database::keepReserve(Reserve reserve) {
    m_reserve.emplace(std::move(reserve));
    fillReserve();
}

void Database::fillReserve() {
    if (m_reserve)
        m_reserve->fill();
}

// What could not be moved, since there is still no room or somebody reads it, is later.
void Database::moveIntoPlace() {
    sqlite3_wal_checkpoint_v2(m_handle.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

Result<> Database::copyTo(Database &other) {
    constexpr int ALL_PAGES = -1;
    auto *copying = sqlite3_backup_init(other.m_handle.get(), "main", m_handle.get(), "main");
    if (!copying)
        return std::unexpected(other.failure());
    sqlite3_backup_step(copying, ALL_PAGES);
    if (sqlite3_backup_finish(copying) != SQLITE_OK)
        return std::unexpected(other.failure());
    return {};
}

void Database::bind(sqlite3_stmt *statement, int place, qint64 value) {
    sqlite3_bind_int64(statement, place, value);
}

void Database::bind(sqlite3_stmt *statement, int place, double value) {
    sqlite3_bind_double(statement, place, value);
}

void Database::bind(sqlite3_stmt *statement, int place, const QString &value) {
    const auto bytes = value.toUtf8();
    sqlite3_bind_text(statement, place, bytes.constData(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
}

void Database::bind(sqlite3_stmt *statement, int place, const QByteArray &value) {
    sqlite3_bind_blob(statement, place, value.constData(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
}

void Database::bind(sqlite3_stmt *statement, int place, std::nullptr_t) {
    sqlite3_bind_null(statement, place);
}

bool isDiskFull(const Failure &failure) {
    return failure.domain == "store"_L1 &&
           ((failure.code & 0xFF) == SQLITE_FULL || failure.code == SQLITE_IOERR_SHMSIZE);
}

} // namespace ombru
