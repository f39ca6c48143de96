#include "platform/linux/consent/ConsentRecord.h"

#include "platform/linux/consent/RecordFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <SQLiteCpp/SQLiteCpp.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int VERSION = 1;    // of the layout
constexpr int PATIENCE = 250; // milliseconds to wait for another program's writing
constexpr int ALLOWED = 2;    // auth_value; any other is a refusal
constexpr int REFUSED = 0;
constexpr char SERVICE[] = "kTCCServiceAppleEvents";

constexpr char LAYOUT[] = "CREATE TABLE access (service TEXT NOT NULL, client TEXT NOT NULL, "
                          "indirect_object_identifier TEXT NOT NULL, auth_value INTEGER NOT NULL, "
                          "last_modified INTEGER NOT NULL, " // seconds since 1970
                          "PRIMARY KEY (service, client, indirect_object_identifier)) WITHOUT ROWID";

Failure unusable(const QString &path, const QString &why) {
    return {u"consent"_s, 1,
            u"The record of what may be controlled, %1, cannot be used: %2. Nothing is allowed until it is repaired or "
            "moved away."_s.arg(path, why)};
}

// The one place where the library's exceptions end.
template <class Operation>
auto caught(const QString &path, Operation operation) -> std::invoke_result_t<Operation> {
    try {
        return operation();
    } catch (const std::exception &error) {
        return std::unexpected(unusable(path, QString::fromUtf8(error.what())));
    }
}

// None when there is no file.
Result<std::optional<struct stat>> look(const QString &path) {
    auto file = ownRecordFiles(path);
    return file ? file : std::unexpected(unusable(path, file.error().description));
}

int versionOf(SQLite::Database &database) {
    return database.execAndGet("PRAGMA user_version").getInt();
}

// Damage need not be where a question leads, and a damaged record decides nothing.
std::optional<Failure> damageOf(SQLite::Database &database, const QString &path) {
    const std::string found = database.execAndGet("PRAGMA quick_check(1)").getString();
    if (found == "ok")
        return std::nullopt;
    return unusable(path, u"it is damaged (%1)"_s.arg(QString::fromStdString(found)));
}

Failure wrongVersion(const QString &path, int version) {
    return unusable(path, version > VERSION ? u"a newer ombru wrote it (layout %1)"_s.arg(version)
                                            : u"it is not such a record"_s);
}

bool isEmpty(SQLite::Database &database) {
    return versionOf(database) == 0 && database.execAndGet("SELECT count(*) FROM sqlite_schema").getInt() == 0;
}

// Nobody else may read what the owner has decided.
Result<> makeFile(const QString &path) {
    constexpr auto PRIVATE = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    const auto directory = QFileInfo(path).path();
    if (!QDir().mkpath(directory) || !QFile::setPermissions(directory, PRIVATE))
        return std::unexpected(unusable(path, u"its directory cannot be made"_s));
    const int file = ::open(QFile::encodeName(path).constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (file < 0 && errno != EEXIST)
        return std::unexpected(unusable(path, QString::fromLocal8Bit(std::strerror(errno))));
    if (file >= 0)
        ::close(file);
    return {};
}

// WAL lets one program write while others read. Changing to it is refused while another program does just that, which
// the next writing makes up for.
void useWriteAheadLog(SQLite::Database &database) {
    SQLite::Statement change(database, "PRAGMA journal_mode = WAL");
    const int code = change.tryExecuteStep();
    if (code != SQLITE_ROW && code != SQLITE_BUSY && code != SQLITE_LOCKED)
        throw SQLite::Exception(database.getHandle(), code);
}

void bindKey(SQLite::Statement &statement, const QString &client, const QString &application) {
    statement.bind(1, SERVICE);
    statement.bind(2, client.toStdString());
    statement.bind(3, application.toStdString());
}

// Runs `change` inside a transaction on the record.
template <class Change>
Result<> write(const QString &path, Change change) {
    return caught(path, [&]() -> Result<> {
        SQLite::Database database(path.toStdString(), SQLite::OPEN_READWRITE, PATIENCE);
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        if (isEmpty(database)) {
            database.exec(LAYOUT);
            database.exec("PRAGMA user_version = " + std::to_string(VERSION));
        }
        if (const int version = versionOf(database); version != VERSION)
            return std::unexpected(wrongVersion(path, version));
        if (const auto damage = damageOf(database, path))
            return std::unexpected(*damage);
        change(database);
        transaction.commit();
        useWriteAheadLog(database);
        return {};
    });
}

QString text(const SQLite::Column &column) {
    return QString::fromUtf8(column.getText(), column.getBytes());
}

} // namespace

// An open record, good as long as the path leads to this very file.
struct ConsentRecord::Reader {
    Reader(const QString &path, const struct stat &opened)
        : device(opened.st_dev), inode(opened.st_ino), database(path.toStdString(), SQLite::OPEN_READONLY, PATIENCE) {}

    dev_t device;
    ino_t inode;
    SQLite::Database database;
    std::optional<SQLite::Statement> version; // prepared once for every question
    std::optional<SQLite::Statement> question;
};

ConsentRecord::ConsentRecord(const QString &path) : m_path(path) {}
ConsentRecord::~ConsentRecord() = default;

Result<ConsentRecord::Reader *> ConsentRecord::reader() {
    const auto file = look(m_path);
    if (!file || !*file) {
        m_reader.reset();
        return file ? Result<Reader *>(nullptr) : std::unexpected(file.error());
    }
    const auto &now = **file;
    if (!m_reader || m_reader->device != now.st_dev || m_reader->inode != now.st_ino) {
        auto opened = std::make_unique<Reader>(m_path, now);
        if (const auto damage = damageOf(opened->database, m_path))
            return std::unexpected(*damage);
        m_reader = std::move(opened);
        m_reader->version.emplace(m_reader->database, "PRAGMA user_version");
    }
    m_reader->version->reset();
    m_reader->version->executeStep();
    const int version = m_reader->version->getColumn(0).getInt();
    m_reader->version->reset();
    if (version == 0 && isEmpty(m_reader->database))
        return nullptr; // somebody is about to write the first decision
    if (version != VERSION)
        return std::unexpected(wrongVersion(m_path, version));
    return m_reader.get();
}

Result<std::optional<bool>> ConsentRecord::decision(const QString &client, const QString &application) {
    const auto answer = caught(m_path, [&]() -> Result<std::optional<bool>> {
        const auto opened = reader();
        if (!opened)
            return std::unexpected(opened.error());
        if (!*opened)
            return std::nullopt;
        auto &question = (*opened)->question;
        if (!question)
            question.emplace((*opened)->database,
                             "SELECT auth_value = 2 FROM access WHERE service = ? AND client = ? AND "
                             "indirect_object_identifier = ?");
        question->reset();
        bindKey(*question, client, application);
        std::optional<bool> allowed;
        while (question->executeStep()) // should there be several rows, one refusal is enough
            allowed = allowed.value_or(true) && question->getColumn(0).getInt() == 1;
        question->reset();
        return allowed;
    });
    if (!answer)
        m_reader.reset(); // what is damaged now may be whole the next time
    return answer;
}

Result<std::vector<ConsentDecision>> ConsentRecord::decisions() {
    return caught(m_path, [&]() -> Result<std::vector<ConsentDecision>> {
        const auto opened = reader();
        if (!opened)
            return std::unexpected(opened.error());
        std::vector<ConsentDecision> all;
        if (!*opened)
            return all;
        SQLite::Statement rows((*opened)->database,
                               "SELECT client, indirect_object_identifier, auth_value = 2, last_modified FROM access "
                               "WHERE service = ? ORDER BY client, indirect_object_identifier");
        rows.bind(1, SERVICE);
        while (rows.executeStep()) {
            const auto seconds = rows.getColumn(3).getInt64();
            all.push_back({text(rows.getColumn(0)), text(rows.getColumn(1)), rows.getColumn(2).getInt() == 1,
                           seconds > 0 ? QDateTime::fromSecsSinceEpoch(seconds) : QDateTime()});
        }
        return all;
    });
}

Result<std::optional<QMap<QString, bool>>> ConsentRecord::decisionsOf(const QString &client) {
    return caught(m_path, [&]() -> Result<std::optional<QMap<QString, bool>>> {
        const auto opened = reader();
        if (!opened)
            return std::unexpected(opened.error());
        if (!*opened)
            return std::nullopt;
        SQLite::Statement rows((*opened)->database, std::string("SELECT indirect_object_identifier, auth_value FROM "
                                                                "access WHERE service = '") +
                                                        SERVICE + "' AND client = ?");
        rows.bind(1, client.toStdString());
        QMap<QString, bool> decisions;
        while (rows.executeStep()) {
            const auto value = rows.getColumn(1);
            if (!rows.isColumnNull(0))
                decisions[text(rows.getColumn(0))] = value.isInteger() && value.getInt64() == ALLOWED;
        }
        return decisions;
    });
}

Result<> ConsentRecord::decide(const QString &client, const QString &application, bool allowed) {
    const auto file = look(m_path);
    if (!file)
        return std::unexpected(file.error());
    if (const auto made = *file ? Result<>() : makeFile(m_path); !made)
        return made;
    return write(m_path, [&](SQLite::Database &database) {
        SQLite::Statement row(database, "INSERT OR REPLACE INTO access (service, client, indirect_object_identifier, "
                                        "auth_value, last_modified) VALUES (?, ?, ?, ?, ?)");
        bindKey(row, client, application);
        row.bind(4, allowed ? ALLOWED : REFUSED);
        row.bind(5, std::int64_t(QDateTime::currentSecsSinceEpoch()));
        row.exec();
    });
}

Result<> ConsentRecord::forget(const QString &client, const QString &application) {
    const auto file = look(m_path);
    if (!file)
        return std::unexpected(file.error());
    if (!*file)
        return {};
    return write(m_path, [&](SQLite::Database &database) {
        SQLite::Statement row(database, "DELETE FROM access WHERE service = ? AND client = ? AND "
                                        "indirect_object_identifier = ?");
        bindKey(row, client, application);
        row.exec();
    });
}

ConsentRecordState consentRecordState(const QString &path) {
    const auto part = [](const QString &file) -> ConsentRecordState::Part {
        struct stat now = {};
        if (::stat(QFile::encodeName(file).constData(), &now) != 0)
            return {};
        constexpr qint64 SECOND = 1'000'000'000;
        return {now.st_ino, now.st_size, qint64(now.st_ctim.tv_sec) * SECOND + now.st_ctim.tv_nsec};
    };
    return {part(path), part(path + u"-wal"_s)};
}

} // namespace ombru
