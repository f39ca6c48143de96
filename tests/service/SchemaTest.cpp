// Databases of other versions: an older one is brought up to date with all that is in it, a newer one stays as it is.
#include "service/store/Schema.h"

#include "tests/service/Append.h"
#include "tests/support/Wait.h"

#include <QFile>
#include <QTemporaryDir>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

// As the first version made it, and what it kept there.
constexpr auto FIRST_LAYOUT = R"(
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

PRAGMA user_version = 1;
INSERT INTO accounts VALUES (1, 'owner@example.org', x'68617368', 1);
INSERT INTO sessions VALUES (x'73657373696f6e', 1, 1, 100);
INSERT INTO computers VALUES (1, 1, 'workshop', 'linux', '10.0.0.1', 3, x'746f6b656e', 'calls', 4, 4, 3);
INSERT INTO computer_fields VALUES (1, 'greeting', 'Hello', 5);
INSERT INTO tasks VALUES (1, 1, 'go', 'web', 6, NULL, 1, 'running', '', 0);
INSERT INTO pictures VALUES (1, 1, x'FFD8FF'), (2, 1, x'FFD8FFE0');
INSERT INTO items VALUES (1, 1, 1, 0, 6, 6, 'user', 'web ❯ go', NULL, NULL);
INSERT INTO items VALUES (1, 2, 1, 1, 7, 7, 'picture', '', NULL, 2);
INSERT INTO items VALUES (1, 3, 1, 1, 8, 8, 'result', 'é', 700, NULL);
)";

class SchemaTest : public ::testing::Test {
protected:
    void make(const char *statements) const {
        const auto database = Database::open(file, Database::Mode::make);
        const auto made = (*database)->script(statements);
        ASSERT_TRUE(made) << made.error().description.toStdString();
    }
    qint64 number(const char *question) const {
        const auto database = Database::open(file, Database::Mode::readOnly);
        return **(*database)->row(question, [](const Row &row) { return row.integer(0); });
    }
    static QByteArray contents(const QString &path) {
        QFile opened(path);
        EXPECT_TRUE(opened.open(QFile::ReadOnly)) << path.toStdString();
        return opened.readAll();
    }

    QTemporaryDir directory;
    QString file = directory.filePath(u"service.sqlite"_s);
};

TEST_F(SchemaTest, ADatabaseOfTheFirstVersionIsBroughtUpToDateWithAllThatIsInIt) {
    make(FIRST_LAYOUT);
    {
        const auto store = Store::open({file});
        ASSERT_TRUE(store) << store.error().description.toStdString();
        EXPECT_EQ((*store)->accounts.sessionOf("session", 50)->value().email, u"owner@example.org"_s);
        const auto computer = (*store)->computers.ofToken("token")->value();
        EXPECT_EQ(computer.name, u"workshop"_s);
        EXPECT_EQ(computer.lastNumber, 3);
        EXPECT_EQ((*store)->computers.fields(1)->at(ComputerField::greeting).text, u"Hello"_s);
        const auto items = *(*store)->history.itemsAfter(1, 0, 10);
        ASSERT_EQ(items.size(), 3U);
        EXPECT_EQ(items[2].text, u"é"_s);
        EXPECT_EQ(items[2].cutFrom, 700);
        EXPECT_EQ((*store)->history.picture(2)->value().jpeg, QByteArray("\xFF\xD8\xFF\xE0", 4));
        const Told next{.computer = 1, .received = 9, .message = EventMessage{u"good"_s, u"next"_s, 9}};
        EXPECT_EQ(test::append(**store, {&next, 1})->items.front().number, 4);
    }
    EXPECT_EQ(number("PRAGMA user_version"), SCHEMA_VERSION);
    EXPECT_EQ(
        number("SELECT bytes FROM computers"),
        number("SELECT (SELECT sum(200 + length(CAST(text AS BLOB))) FROM items) + (SELECT sum(200 + length(jpeg)) "
               "FROM pictures) + (SELECT sum(200 + length(text) + length(answer)) FROM tasks)"));
    EXPECT_EQ(number("SELECT today FROM calendar"), 8) << "when something came last";
    EXPECT_EQ(number("SELECT count(*) FROM pictures"), 1) << "one of no line is not kept";
}

TEST_F(SchemaTest, ANewerDatabaseIsLeftAsItIsWithWhatWasWrittenAhead) {
    // What a newer service that was killed leaves behind: written ahead, and not yet moved into place.
    const auto killed = directory.filePath(u"killed"_s);
    {
        const auto newer = Store::open({killed});
        const auto beside = Database::open(killed, Database::Mode::existing);
        ASSERT_TRUE((*beside)->script("PRAGMA user_version = 99; INSERT INTO accounts VALUES (1, 'a@b', x'00', 1)"));
        for (const auto &end : {u""_s, u"-wal"_s})
            ASSERT_TRUE(QFile::copy(killed + end, file + end));
    }
    const auto before = contents(file);
    const auto ahead = contents(file + u"-wal"_s);
    ASSERT_FALSE(ahead.isEmpty());
    const auto opened = Store::open({file});
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().description,
              u"The database %1 cannot be used: a newer ombru-service wrote it (layout 99)."_s.arg(file));
    EXPECT_EQ(contents(file), before);
    EXPECT_EQ(contents(file + u"-wal"_s), ahead);
}

} // namespace
