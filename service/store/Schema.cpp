#include "service/store/Schema.h"

#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int APPLICATION = 0x6F6D6272; // "ombr": what `file` and we know such a database by

// From the version of its place to the next one.
constexpr std::array<const char *, SCHEMA_VERSION> STEPS = {R"(
PRAGMA application_id = 1869439602;
CREATE TABLE accounts (
    id INTEGER PRIMARY KEY AUTOINCREMENT, email TEXT NOT NULL UNIQUE COLLATE NOCASE, password BLOB,
    created REAL NOT NULL);
CREATE TABLE sessions (
    token BLOB PRIMARY KEY, account INTEGER NOT NULL REFERENCES accounts ON DELETE CASCADE, created REAL NOT NULL,
    expires REAL NOT NULL) WITHOUT ROWID;
CREATE TABLE computers (
    id INTEGER PRIMARY KEY AUTOINCREMENT, account INTEGER NOT NULL REFERENCES accounts ON DELETE CASCADE,
    name TEXT NOT NULL, platform TEXT NOT NULL, address TEXT NOT NULL, signed_in REAL NOT NULL, token BLOB UNIQUE,
    call_token TEXT NOT NULL, seen REAL, fetched REAL, last_number INTEGER NOT NULL DEFAULT 0);
CREATE INDEX computers_of_account ON computers (account);
CREATE VIEW computer_records AS SELECT id, account, name, platform, address, signed_in, token IS NULL AS revoked, seen,
    fetched, last_number, token FROM computers;
CREATE TABLE device_codes (
    device BLOB PRIMARY KEY, user BLOB NOT NULL UNIQUE, name TEXT NOT NULL, platform TEXT NOT NULL,
    address TEXT NOT NULL, asked REAL NOT NULL, expires REAL NOT NULL, state INTEGER NOT NULL DEFAULT 0,
    account INTEGER REFERENCES accounts ON DELETE CASCADE,
    computer INTEGER REFERENCES computers ON DELETE CASCADE) WITHOUT ROWID;
CREATE TABLE computer_fields (
    computer INTEGER NOT NULL REFERENCES computers ON DELETE CASCADE, field TEXT NOT NULL, value TEXT NOT NULL,
    saved REAL NOT NULL, PRIMARY KEY (computer, field)) WITHOUT ROWID;
CREATE TABLE tasks (
    id INTEGER PRIMARY KEY AUTOINCREMENT, computer INTEGER NOT NULL REFERENCES computers ON DELETE CASCADE,
    text TEXT NOT NULL, source TEXT NOT NULL, began REAL NOT NULL, ended REAL, steps INTEGER NOT NULL DEFAULT 0,
    outcome TEXT NOT NULL, answer TEXT NOT NULL DEFAULT '', lost INTEGER NOT NULL DEFAULT 0);
CREATE INDEX tasks_of_computer ON tasks (computer, id);
CREATE TABLE pictures (
    id INTEGER PRIMARY KEY AUTOINCREMENT, computer INTEGER NOT NULL REFERENCES computers ON DELETE CASCADE,
    jpeg BLOB NOT NULL);
CREATE INDEX pictures_of_computer ON pictures (computer, id);
CREATE TABLE items (
    computer INTEGER NOT NULL REFERENCES computers ON DELETE CASCADE, number INTEGER NOT NULL, task INTEGER,
    step INTEGER NOT NULL, time REAL NOT NULL, received REAL NOT NULL, kind TEXT NOT NULL, text TEXT NOT NULL,
    cut_from INTEGER, picture INTEGER, PRIMARY KEY (computer, number)) WITHOUT ROWID;
CREATE INDEX items_with_picture ON items (picture) WHERE picture IS NOT NULL;
CREATE INDEX items_of_task ON items (task, number) WHERE task IS NOT NULL;
)",
                                                            // How much there is of each computer, and the browsers
                                                            // that an account knows.
                                                            R"(
CREATE TABLE browsers (
    token BLOB PRIMARY KEY, account INTEGER NOT NULL REFERENCES accounts ON DELETE CASCADE, used REAL NOT NULL)
    WITHOUT ROWID;
DELETE FROM pictures WHERE NOT EXISTS (SELECT 1 FROM items WHERE items.picture = pictures.id);
ALTER TABLE computers ADD COLUMN bytes INTEGER NOT NULL DEFAULT 0;
UPDATE computers SET bytes =
    coalesce((SELECT sum(200 + length(CAST(text AS BLOB))) FROM items WHERE computer = computers.id), 0) +
    coalesce((SELECT sum(200 + length(jpeg)) FROM pictures WHERE computer = computers.id), 0) +
    coalesce((SELECT sum(200 + length(CAST(text AS BLOB)) + length(CAST(answer AS BLOB))) FROM tasks
        WHERE computer = computers.id), 0);
CREATE TRIGGER items_come AFTER INSERT ON items BEGIN
    UPDATE computers SET bytes = bytes + 200 + length(CAST(new.text AS BLOB)) WHERE id = new.computer; END;
CREATE TRIGGER items_go AFTER DELETE ON items BEGIN
    UPDATE computers SET bytes = bytes - 200 - length(CAST(old.text AS BLOB)) WHERE id = old.computer; END;
CREATE TRIGGER pictures_come AFTER INSERT ON pictures BEGIN
    UPDATE computers SET bytes = bytes + 200 + length(new.jpeg) WHERE id = new.computer; END;
CREATE TRIGGER pictures_go AFTER DELETE ON pictures BEGIN
    UPDATE computers SET bytes = bytes - 200 - length(old.jpeg) WHERE id = old.computer; END;
CREATE TRIGGER tasks_come AFTER INSERT ON tasks BEGIN
    UPDATE computers SET bytes = bytes + 200 + length(CAST(new.text AS BLOB)) + length(CAST(new.answer AS BLOB))
        WHERE id = new.computer; END;
CREATE TRIGGER tasks_change AFTER UPDATE OF answer ON tasks WHEN new.answer <> old.answer BEGIN
    UPDATE computers SET bytes = bytes + length(CAST(new.answer AS BLOB)) - length(CAST(old.answer AS BLOB))
        WHERE id = new.computer; END;
CREATE TRIGGER tasks_go AFTER DELETE ON tasks BEGIN
    UPDATE computers SET bytes = bytes - 200 - length(CAST(old.text AS BLOB)) - length(CAST(old.answer AS BLOB))
        WHERE id = old.computer; END;
)",
                                                            // What day it is by age (nothing says so at first), and
                                                            // when a computer has got what was set.
                                                            R"(
CREATE TABLE calendar (today REAL);
INSERT INTO calendar SELECT max(received) FROM items;
ALTER TABLE computer_fields ADD COLUMN arrived REAL;
)",
                                                            // Which part of the journal belongs behind what there is,
                                                            // and which one was taken in last.
                                                            R"(
CREATE TABLE journal (next BLOB, last BLOB);
INSERT INTO journal VALUES (NULL, NULL);
)"};

Failure refused(const Database &database, const QString &why) {
    return {u"store"_s, SQLITE_NOTADB, u"The database %1 cannot be used: %2."_s.arg(database.path(), why)};
}

Result<int> number(Database &database, const char *question) {
    const auto row = database.row(question, [](const Row &each) { return static_cast<int>(each.integer(0)); });
    if (!row)
        return std::unexpected(row.error());
    return row->value_or(0);
}

// Its version; 0 for an empty one.
Result<int> knownVersion(Database &database) {
    const auto version = number(database, "PRAGMA user_version");
    const auto application = number(database, "PRAGMA application_id");
    const auto tables = number(database, "SELECT count(*) FROM sqlite_schema");
    for (const auto *each : {&version, &application, &tables})
        if (!*each)
            return std::unexpected(each->error());
    if (*tables > 0 && *application != APPLICATION)
        return std::unexpected(refused(database, u"it is something else's"_s));
    if (*version > SCHEMA_VERSION)
        return std::unexpected(refused(database, u"a newer ombru-service wrote it (layout %1)"_s.arg(*version)));
    return *version;
}

} // namespace

Result<> migrate(Database &database) {
    const auto before = knownVersion(database);
    if (!before)
        return std::unexpected(before.error());
    return database.transaction([&]() -> Result<> {
        for (auto version = static_cast<std::size_t>(*before); version < STEPS.size(); ++version)
            if (const auto done = database.script(STEPS[version]); !done)
                return done;
        return database.script(("PRAGMA user_version = " + std::to_string(SCHEMA_VERSION)).c_str());
    });
}

Result<> checkVersion(Database &database, IfEmpty ifEmpty) {
    const auto version = knownVersion(database);
    if (!version)
        return std::unexpected(version.error());
    if (*version == 0 && ifEmpty == IfEmpty::isRefused)
        return std::unexpected(refused(database, u"it is empty"_s));
    return {};
}

} // namespace ombru
