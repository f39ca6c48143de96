// The owner's recorded decisions about what one client may control, read from real databases.
#include "platform/linux/consent/ConsentRecord.h"
#include "tests/support/Consent.h"
#include "tests/support/Processes.h"

#include <SQLiteCpp/SQLiteCpp.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using Decisions = QMap<QString, bool>;

namespace {

class OwnDecisionsTest : public testing::Test {
protected:
    OwnDecisionsTest() { QDir().mkpath(m_scratch.path(u"ombru"_s)); }

    QString path() const { return m_scratch.path(u"ombru/consent.db"_s); }
    static std::optional<Decisions> decisions(const QString &path, const QString &client = u"com.ombru.mac"_s) {
        return ConsentRecord(path).decisionsOf(client).value_or(std::nullopt);
    }
    std::optional<Decisions> decisions() const { return decisions(path()); }

    SQLite::Database open() const { return {path().toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE}; }

    // A row for each: "NULL" stays one.
    void record(const QString &application, const QString &value, const QString &client = u"com.ombru.mac"_s,
                const QString &service = u"kTCCServiceAppleEvents"_s) const {
        auto database = open();
        database.exec("CREATE TABLE IF NOT EXISTS access (service TEXT, client TEXT, indirect_object_identifier TEXT, "
                      "auth_value INTEGER); PRAGMA user_version = 1");
        const auto quoted = application == u"NULL"_s ? application : u'\'' + application + u'\'';
        database.exec(
            u"INSERT INTO access VALUES ('%1', '%2', %3, %4)"_s.arg(service, client, quoted, value).toStdString());
    }

    test::Scratch m_scratch;
    test::Variable m_data{"XDG_DATA_HOME", m_scratch.directory().toUtf8()};
};

} // namespace

TEST_F(OwnDecisionsTest, OnlyTwoMeansAllowed) {
    const std::pair<QString, bool> values[] = {{u"0"_s, false},   {u"1"_s, false},          {u"2"_s, true},
                                               {u"3"_s, false},   {u"-2"_s, false},         {u"NULL"_s, false},
                                               {u"'x'"_s, false}, {u"4294967298"_s, false}, {u"'2x'"_s, false}};
    Decisions expected;
    for (const auto &[value, allowed] : values) {
        record(u"app."_s + QString(value).remove(u'\''), value);
        expected[u"app."_s + QString(value).remove(u'\'')] = allowed;
    }
    EXPECT_EQ(decisions(), expected);
}

TEST_F(OwnDecisionsTest, OnlyOurOwnRowsAboutEventsCount) {
    record(u"com.apple.finder"_s, u"2"_s);
    record(u"com.apple.mail"_s, u"2"_s, u"org.other"_s);
    record(u"com.apple.Notes"_s, u"2"_s, u"com.ombru.mac"_s, u"kTCCServiceScreenCapture"_s);
    EXPECT_EQ(decisions(), (Decisions{{u"com.apple.finder"_s, true}}));
    EXPECT_EQ(decisions(path(), u"org.other"_s), (Decisions{{u"com.apple.mail"_s, true}}));
}

TEST_F(OwnDecisionsTest, OurOwnNameIsAValueAndNoPartOfTheQuestion) {
    record(u"com.apple.finder"_s, u"2"_s);
    EXPECT_EQ(decisions(path(), u"' OR '1'='1"_s), Decisions());
}

TEST_F(OwnDecisionsTest, ARowWithoutAnApplicationIsSkipped) {
    record(u"NULL"_s, u"2"_s);
    record(u"com.apple.finder"_s, u"2"_s);
    EXPECT_EQ(decisions(), (Decisions{{u"com.apple.finder"_s, true}}));
}

TEST_F(OwnDecisionsTest, ALaterRowReplacesAnEarlierOne) {
    record(u"com.apple.finder"_s, u"2"_s);
    record(u"com.apple.finder"_s, u"0"_s);
    record(u"com.apple.mail"_s, u"0"_s);
    record(u"com.apple.mail"_s, u"2"_s);
    EXPECT_EQ(decisions(), (Decisions{{u"com.apple.finder"_s, false}, {u"com.apple.mail"_s, true}}));
}

TEST_F(OwnDecisionsTest, NoRowsAreAMapAllTheSame) {
    record(u"com.apple.finder"_s, u"2"_s, u"org.other"_s);
    EXPECT_EQ(decisions(), Decisions());
}

TEST_F(OwnDecisionsTest, AMissingDatabaseGivesNoMapAndIsNotMade) {
    EXPECT_EQ(decisions(), std::nullopt);
    EXPECT_FALSE(QFile::exists(path()));
}

TEST_F(OwnDecisionsTest, WhatIsNoDatabaseGivesNoMap) {
    m_scratch.write(u"ombru/consent.db"_s, "this is no database, and it is long enough to look at its head");
    EXPECT_EQ(decisions(), std::nullopt);
    EXPECT_EQ(decisions(m_scratch.directory()), std::nullopt);
    EXPECT_EQ(decisions(QString()), std::nullopt);
}

TEST_F(OwnDecisionsTest, ADatabaseWithoutTheTableGivesNoMap) {
    open().exec("CREATE TABLE other (a); PRAGMA user_version = 1");
    EXPECT_EQ(decisions(), std::nullopt);
}

TEST_F(OwnDecisionsTest, ADatabaseThatIsTornInTheMiddleGivesNoMap) {
    record(u"com.apple.finder"_s, u"2"_s);
    for (int doubling = 0; doubling < 9; ++doubling)
        open().exec("INSERT INTO access SELECT service, client, indirect_object_identifier || 'x', 2 FROM access");
    QFile file(path());
    ASSERT_TRUE(file.open(QFile::ReadWrite));
    ASSERT_GT(file.size(), 3 * 4096);
    file.seek(4096);
    file.write(QByteArray(file.size() - 4096, 'x'));
    file.close();
    EXPECT_EQ(decisions(), std::nullopt);
}

TEST_F(OwnDecisionsTest, ADatabaseThatSomebodyHoldsForLongGivesNoMap) {
    record(u"com.apple.finder"_s, u"2"_s);
    auto holder = open();
    holder.exec("BEGIN EXCLUSIVE");
    EXPECT_EQ(decisions(), std::nullopt);
    holder.exec("ROLLBACK");
    EXPECT_EQ(decisions(), (Decisions{{u"com.apple.finder"_s, true}}));
}

TEST_F(OwnDecisionsTest, ADatabaseThatIsBeingWrittenTellsWhatWasDecidedLast) {
    record(u"com.apple.finder"_s, u"0"_s);
    auto writer = open();
    writer.exec("PRAGMA journal_mode = WAL");
    writer.exec("UPDATE access SET auth_value = 2");
    writer.exec("BEGIN IMMEDIATE");
    writer.exec("UPDATE access SET auth_value = 0");
    EXPECT_EQ(decisions(), (Decisions{{u"com.apple.finder"_s, true}}));
    writer.exec("COMMIT");
    EXPECT_EQ(decisions(), (Decisions{{u"com.apple.finder"_s, false}}));
}

TEST_F(OwnDecisionsTest, AreReadFromTheOwnersRecord) {
    EXPECT_EQ(ownConsentDecisions(), std::nullopt);
    record(u"com.apple.finder"_s, u"2"_s);
    record(u"com.apple.mail"_s, u"2"_s, u"org.other"_s);
    EXPECT_EQ(ownConsentDecisions(), (Decisions{{u"com.apple.finder"_s, true}}));
}

// The owner must not read "allowed" where every script is refused.
TEST_F(OwnDecisionsTest, ARecordThatTheSystemDoesNotDecideByGivesNoMap) {
    record(u"com.apple.finder"_s, u"2"_s);
    open().exec("PRAGMA user_version = 2");
    EXPECT_EQ(decisions(), std::nullopt) << "a newer ombru wrote it";
    open().exec("PRAGMA user_version = 1");
    ASSERT_TRUE(QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner | QFile::WriteOther));
    EXPECT_EQ(decisions(), std::nullopt) << "others can write to it";
}
