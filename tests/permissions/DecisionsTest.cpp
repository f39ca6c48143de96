// The owner's recorded decisions, read from real databases.
#include "permissions/AppAutomation.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Processes.h"

#include <SQLiteCpp/SQLiteCpp.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;
using Decisions = QMap<QString, bool>;

namespace {

class DecisionsTest : public testing::Test {
protected:
    DecisionsTest() {
        FakePlatform::reset();
        desktop()->consentDatabase = path();
    }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    QString path() const { return m_scratch.path(u"TCC.db"_s); }

    SQLite::Database open() const { return {path().toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE}; }

    // A row for each: "NULL" stays one.
    void record(const QString &application, const QString &value, const QString &client = u"com.ombru.mac"_s,
                const QString &service = u"kTCCServiceAppleEvents"_s) const {
        auto database = open();
        database.exec("CREATE TABLE IF NOT EXISTS access (service TEXT, client TEXT, indirect_object_identifier TEXT, "
                      "auth_value INTEGER)");
        const auto quoted = application == u"NULL"_s ? application : u'\'' + application + u'\'';
        database.exec(
            u"INSERT INTO access VALUES ('%1', '%2', %3, %4)"_s.arg(service, client, quoted, value).toStdString());
    }

    test::Scratch m_scratch;
};

} // namespace

TEST_F(DecisionsTest, OnlyTwoMeansAllowed) {
    const std::pair<QString, bool> values[] = {{u"0"_s, false},   {u"1"_s, false},         {u"2"_s, true},
                                               {u"3"_s, false},   {u"-2"_s, false},        {u"NULL"_s, false},
                                               {u"'x'"_s, false}, {u"4294967298"_s, false}};
    Decisions expected;
    for (const auto &[value, allowed] : values) {
        record(u"app."_s + QString(value).remove(u'\''), value);
        expected[u"app."_s + QString(value).remove(u'\'')] = allowed;
    }
    EXPECT_EQ(AppAutomation::tccDecisions(), expected);
}

TEST_F(DecisionsTest, OnlyOurOwnRowsAboutEventsCount) {
    record(u"com.apple.finder"_s, u"2"_s);
    record(u"com.apple.mail"_s, u"2"_s, u"org.other"_s);
    record(u"com.apple.Notes"_s, u"2"_s, u"com.ombru.mac"_s, u"kTCCServiceScreenCapture"_s);
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, true}}));
    desktop()->ownConsentClient = u"org.other"_s;
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.mail"_s, true}}));
}

TEST_F(DecisionsTest, OurOwnNameIsAValueAndNoPartOfTheQuestion) {
    record(u"com.apple.finder"_s, u"2"_s);
    desktop()->ownConsentClient = u"' OR '1'='1"_s;
    EXPECT_EQ(AppAutomation::tccDecisions(), Decisions());
}

TEST_F(DecisionsTest, ARowWithoutAnApplicationIsSkipped) {
    record(u"NULL"_s, u"2"_s);
    record(u"com.apple.finder"_s, u"2"_s);
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, true}}));
}

TEST_F(DecisionsTest, ALaterRowReplacesAnEarlierOne) {
    record(u"com.apple.finder"_s, u"2"_s);
    record(u"com.apple.finder"_s, u"0"_s);
    record(u"com.apple.mail"_s, u"0"_s);
    record(u"com.apple.mail"_s, u"2"_s);
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, false}, {u"com.apple.mail"_s, true}}));
}

TEST_F(DecisionsTest, NoRowsAreAMapAllTheSame) {
    record(u"com.apple.finder"_s, u"2"_s, u"org.other"_s);
    EXPECT_EQ(AppAutomation::tccDecisions(), Decisions());
}

TEST_F(DecisionsTest, AMissingDatabaseGivesNoMapAndIsNotMade) {
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
    EXPECT_FALSE(QFile::exists(path()));
}

TEST_F(DecisionsTest, WhatIsNoDatabaseGivesNoMap) {
    m_scratch.write(u"TCC.db"_s, "this is no database, and it is long enough to look at its head");
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
    desktop()->consentDatabase = m_scratch.directory();
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
    desktop()->consentDatabase = QString();
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
}

TEST_F(DecisionsTest, ADatabaseWithoutTheTableGivesNoMap) {
    open().exec("CREATE TABLE other (a)");
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
}

TEST_F(DecisionsTest, ADatabaseThatIsTornInTheMiddleGivesNoMap) {
    record(u"com.apple.finder"_s, u"2"_s);
    for (int doubling = 0; doubling < 9; ++doubling)
        open().exec("INSERT INTO access SELECT service, client, indirect_object_identifier || 'x', 2 FROM access");
    QFile file(path());
    ASSERT_TRUE(file.open(QFile::ReadWrite));
    ASSERT_GT(file.size(), 3 * 4096);
    file.seek(4096);
    file.write(QByteArray(file.size() - 4096, 'x'));
    file.close();
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
}

TEST_F(DecisionsTest, ADatabaseThatSomebodyHoldsForLongGivesNoMap) {
    record(u"com.apple.finder"_s, u"2"_s);
    auto holder = open();
    holder.exec("BEGIN EXCLUSIVE");
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
    holder.exec("ROLLBACK");
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, true}}));
}

TEST_F(DecisionsTest, ADatabaseThatIsBeingWrittenTellsWhatWasDecidedLast) {
    record(u"com.apple.finder"_s, u"0"_s);
    auto writer = open();
    writer.exec("PRAGMA journal_mode = WAL");
    writer.exec("UPDATE access SET auth_value = 2");
    writer.exec("BEGIN IMMEDIATE");
    writer.exec("UPDATE access SET auth_value = 0");
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, true}}));
    writer.exec("COMMIT");
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, false}}));
}

// The owner must not read "allowed" where every script is refused.
TEST_F(DecisionsTest, ARecordThatTheSystemDoesNotDecideByGivesNoMap) {
    record(u"com.apple.finder"_s, u"2"_s);
    desktop()->applications[u"com.apple.finder"_s] = {.name = u"Finder"_s, .permission = AUTOMATION_UNDECIDED};
    desktop()->consentFailure = Failure{u"consent"_s, 1, u"a newer ombru wrote it"_s};
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{u"com.apple.finder"_s, State::unknown}}));
}

TEST_F(DecisionsTest, WhatIsRecordedCountsWhateverThePermissionCheckSays) {
    desktop()->applications[u"com.apple.finder"_s] = {.name = u"Finder"_s, .permission = AUTOMATION_REFUSED};
    desktop()->applications[u"com.apple.mail"_s] = {.name = u"Mail"_s, .permission = AUTOMATION_ALLOWED};
    desktop()->applications[u"com.apple.Notes"_s] = {.name = u"Notes"_s, .permission = AUTOMATION_REFUSED};
    record(u"com.apple.finder"_s, u"2"_s);
    record(u"com.apple.mail"_s, u"0"_s);
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{u"com.apple.finder"_s, State::granted},
                                                         {u"com.apple.mail"_s, State::missing},
                                                         {u"com.apple.Notes"_s, State::missing}}));
    const QStringList determined = copied(desktop()->determined);
    EXPECT_EQ(determined, QStringList{u"look com.apple.Notes"_s}) << "one without a row is asked about";
}

TEST_F(DecisionsTest, AnApplicationsDecisionMayBeRecordedUnderAnotherIdentifier) {
    desktop()->applications[u"com.apple.finder"_s] = {.name = u"Files"_s, .permission = AUTOMATION_NOT_RUNNING};
    desktop()->consentIdentifiers[u"com.apple.finder"_s] = u"org.gnome.Nautilus"_s;
    record(u"org.gnome.Nautilus"_s, u"2"_s);
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{u"com.apple.finder"_s, State::granted}}));
}
