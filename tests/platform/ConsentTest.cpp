// The owner's decisions as a file: written, read, and edited by others meanwhile.
#include "base/Process.h"
#include "tests/platform/ConsentFixture.h"
#include "tests/support/RefusedCall.h"

#include <chrono>
#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

using ConsentTest = ConsentFixture;

TEST_F(ConsentTest, WithoutAFileNothingIsDecidedAndNoneIsMade) {
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    ASSERT_TRUE(consentDecisions());
    EXPECT_TRUE(consentDecisions()->empty());
    EXPECT_TRUE(forgetConsent(CLIENT, EDITOR));
    EXPECT_FALSE(QFile::exists(scratch.path(u"ombru"_s)));
}

TEST_F(ConsentTest, TheFirstDecisionMakesAPrivateFile) {
    const auto mask = ::umask(0);
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    ::umask(mask);
    EXPECT_EQ(consentDatabase(), scratch.path(u"ombru/consent.db"_s));
    EXPECT_EQ(mode(consentDatabase()), 0600);
    EXPECT_EQ(mode(scratch.path(u"ombru"_s)), 0700);
    SQLite::Database database(consentDatabase().toStdString());
    EXPECT_EQ(database.execAndGet("PRAGMA user_version").getInt(), 1);
    EXPECT_EQ(database.execAndGet("PRAGMA journal_mode").getString(), "wal");
}

TEST_F(ConsentTest, ADecisionIsOneRowOthersCanRead) {
    const auto before = QDateTime::currentSecsSinceEpoch();
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, false));
    SQLite::Database database(consentDatabase().toStdString());
    SQLite::Statement row(database, "SELECT service, client, indirect_object_identifier, auth_value, last_modified "
                                    "FROM access");
    ASSERT_TRUE(row.executeStep());
    EXPECT_EQ(row.getColumn(0).getString(), "kTCCServiceAppleEvents");
    EXPECT_EQ(row.getColumn(1).getString(), "com.ombru.mac");
    EXPECT_EQ(row.getColumn(2).getString(), "org.example.Editor");
    EXPECT_EQ(row.getColumn(3).getInt(), 0);
    EXPECT_GE(row.getColumn(4).getInt64(), before);
    EXPECT_FALSE(row.executeStep());
}

TEST_F(ConsentTest, DecisionsAreListedInOrderWithTheirTime) {
    const auto before = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
    ASSERT_TRUE(decideConsent(CLIENT, u"z"_s, false));
    ASSERT_TRUE(decideConsent(CLIENT, u"a ünï 🌧"_s, true));
    ASSERT_TRUE(decideConsent(u"/opt/x"_s, EDITOR, true));
    const auto all = consentDecisions();
    ASSERT_TRUE(all);
    ASSERT_EQ(all->size(), 3U);
    EXPECT_EQ((*all)[0].client, u"/opt/x"_s);
    EXPECT_EQ((*all)[1].application, u"a ünï 🌧"_s);
    EXPECT_TRUE((*all)[1].allowed);
    EXPECT_GE((*all)[1].time, before);
    EXPECT_EQ((*all)[2].application, u"z"_s);
    EXPECT_FALSE((*all)[2].allowed);
}

TEST_F(ConsentTest, WhatIsForgottenIsUndecidedAgain) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED);
    EXPECT_TRUE(forgetConsent(CLIENT, EDITOR));
    EXPECT_TRUE(forgetConsent(CLIENT, EDITOR)) << "also when there is none";
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
}

TEST_F(ConsentTest, AllNamesOfAnApplicationAreOneApplication) {
    for (const auto &id : {u"com.apple.TextEdit"_s, u"TextEdit"_s, u"Writer's Desk"_s, u"ORG.example.editor"_s}) {
        ASSERT_TRUE(decideConsent(CLIENT, id, true));
        EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED) << id.toStdString();
        ASSERT_TRUE(forgetConsent(CLIENT, id));
        EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED) << id.toStdString();
    }
    for (const auto &id : {u"COM.apple.SystemEvents"_s, u"system events"_s})
        EXPECT_EQ(consentIdentity(ConsentParty::application, id), u"com.apple.systemevents"_s);
    EXPECT_EQ(consentIdentity(ConsentParty::application, u"com.Example.Absent"_s), u"com.Example.Absent"_s);
}

TEST_F(ConsentTest, AProgramGoesByThePathItsProcessesShow) {
    QFile::link(u"/bin/true"_s, scratch.path(u"link"_s));
    ASSERT_TRUE(decideConsent(scratch.path(u"link"_s), EDITOR, true));
    EXPECT_EQ(consentDecisions()->front().client, QFileInfo(u"/bin/true"_s).canonicalFilePath());
    ASSERT_TRUE(decideConsent(u"/no/such/program"_s, EDITOR, true));
    EXPECT_EQ(consentDecisions()->front().client, u"/no/such/program"_s);
}

// A client is never meant by a name: another program could have it, and with it what the owner has allowed.
TEST_F(ConsentTest, AProgramIsNoApplicationOfItsName) {
    for (const auto &given : {u"/gone/TextEdit"_s, u"TextEdit"_s, u"com.apple.TextEdit"_s, u"System Events"_s})
        EXPECT_EQ(consentIdentity(ConsentParty::client, given), given);
    EXPECT_EQ(consentIdentity(ConsentParty::application, u"/Applications/TextEdit.app"_s), EDITOR);
}

TEST_F(ConsentTest, NothingInstalledTakesThePlaceOfSystemEvents) {
    for (const auto &file : {u"System Events"_s, u"com.apple.systemevents"_s})
        scratch.write(u"system/applications/%1.desktop"_s.arg(file),
                      "[Desktop Entry]\nType=Application\nName=System Events\nExec=/bin/true\n");
    for (const auto &given : {u"System Events"_s, u"com.apple.systemevents"_s})
        EXPECT_EQ(consentIdentity(ConsentParty::application, given), u"com.apple.systemevents"_s);
}

TEST_F(ConsentTest, AnIdentifierIsNoNameOfAnotherApplication) {
    scratch.write(u"system/applications/org.example.Sly.desktop"_s,
                  "[Desktop Entry]\nType=Application\nName=org.example.Editor\nExec=/bin/true\n");
    EXPECT_EQ(consentIdentity(ConsentParty::application, EDITOR), EDITOR);
}

TEST_F(ConsentTest, EveryClientHasItsOwnDecisions) {
    ASSERT_TRUE(decideConsent(u"/opt/other"_s, EDITOR, true));
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    EXPECT_EQ(ConsentCheck({u"/opt/other"_s, std::nullopt}).automation(EDITOR, false), AUTOMATION_ALLOWED);
}

TEST_F(ConsentTest, OnlyTwoMeansAllowed) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    for (const char *value : {"0", "1", "3", "-2", "'2x'", "'yes'"}) {
        sql((QByteArray("UPDATE access SET auth_value = ") + value).constData());
        EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_REFUSED) << value;
    }
    sql("UPDATE access SET auth_value = 2, service = 'kTCCServiceCamera'");
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
}

TEST_F(ConsentTest, AskingWithNobodyThereLeavesItUndecided) {
    EXPECT_EQ(check().automation(EDITOR, true), AUTOMATION_UNDECIDED);
}

// --- others write meanwhile

TEST_F(ConsentTest, WhatOthersWriteCountsAtOnce) {
    ConsentRecord record(consentDatabase());
    EXPECT_EQ(read(record), std::nullopt);
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    EXPECT_EQ(read(record), true);
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, false));
    EXPECT_EQ(read(record), false);
    sql("DELETE FROM access");
    EXPECT_EQ(read(record), std::nullopt);
}

TEST_F(ConsentTest, AFileThatIsTakenAwayOrReplacedIsNotReadOnFromMemory) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    ConsentRecord record(consentDatabase());
    EXPECT_EQ(read(record), true);
    ASSERT_TRUE(QDir().rename(scratch.path(u"ombru"_s), scratch.path(u"away"_s)));
    EXPECT_EQ(read(record), std::nullopt);
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, false));
    EXPECT_EQ(read(record), false);
}

TEST_F(ConsentTest, ALayoutThatBecomesNewerWhileItIsOpenIsNoLongerUnderstood) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    ConsentRecord record(consentDatabase());
    EXPECT_EQ(read(record), true);
    sql("PRAGMA user_version = 2");
    EXPECT_FALSE(record.decision(CLIENT, EDITOR));
    sql("PRAGMA user_version = 1");
    EXPECT_EQ(read(record), true);
}

TEST_F(ConsentTest, ManyWritersAtOnceLoseNothing) {
    std::vector<std::thread> writers;
    std::atomic<int> failed = 0;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&, writer] {
            for (int i = 0; i < 10; ++i) {
                // Everybody may find the record busy for longer than the patience of one writing.
                while (!ConsentRecord(consentDatabase()).decide(CLIENT, u"app %1 %2"_s.arg(writer).arg(i), true)) {
                    if (++failed > 1000)
                        return;
                }
            }
        });
    }
    for (auto &writer : writers)
        writer.join();
    ASSERT_TRUE(consentDecisions());
    EXPECT_EQ(consentDecisions()->size(), 40U);
}

// --- where it is

TEST_F(ConsentTest, LivesInTheDataDirectory) {
    EXPECT_EQ(consentDatabase({{"XDG_DATA_HOME", "/d"}, {"HOME", "/h"}}), u"/d/ombru/consent.db"_s);
    EXPECT_EQ(consentDatabase({{"HOME", "/h"}}), u"/h/.local/share/ombru/consent.db"_s);
    EXPECT_EQ(consentDatabase({{"XDG_DATA_HOME", "relative"}, {"HOME", "/h"}}), u"/h/.local/share/ombru/consent.db"_s);
    EXPECT_EQ(ownConsentClient(), u"com.ombru.mac"_s);
}

// --- what the system answers

TEST_F(ConsentTest, AnApplicationThatDoesNotRunIsJustThatWhateverWasDecided) {
    for (const auto &id : {EDITOR, u"com.apple.TextEdit"_s, u"com.example.Absent"_s}) {
        EXPECT_EQ(determineAutomation(id, true), AUTOMATION_NOT_RUNNING);
        for (const bool allowed : {true, false}) {
            ASSERT_TRUE(decideConsent(CLIENT, id, allowed));
            EXPECT_EQ(determineAutomation(id, true), AUTOMATION_NOT_RUNNING);
        }
    }
}

TEST_F(ConsentTest, ARunningApplicationIsAsDecided) {
    QFile::copy(QFileInfo(u"/bin/sleep"_s).canonicalFilePath(), scratch.path(u"consent-probe"_s));
    scratch.write(u"system/applications/org.example.Probe.desktop"_s,
                  "[Desktop Entry]\nType=Application\nName=Probe\nExec=" + scratch.path(u"consent-probe"_s).toUtf8() +
                      "\n");
    const auto probe = Process::make({.program = scratch.path(u"consent-probe"_s), .arguments = {u"600"_s}});
    ASSERT_TRUE(probe->start());
    EXPECT_EQ(determineAutomation(u"org.example.probe"_s, false), AUTOMATION_UNDECIDED);
    EXPECT_EQ(determineAutomation(u"Probe"_s, false), AUTOMATION_NOT_RUNNING) << "a name is no identifier";
    EXPECT_EQ(
        determineAutomation({u""_s, u"org.example.probe"_s, EDITOR, u"Probe"_s}),
        (std::vector{AUTOMATION_BAD_TARGET, AUTOMATION_UNDECIDED, AUTOMATION_NOT_RUNNING, AUTOMATION_NOT_RUNNING}));
    EXPECT_EQ(determineAutomation(u"org.example.probe"_s, true), AUTOMATION_UNDECIDED) << "nobody is there to ask";
    ASSERT_TRUE(decideConsent(CLIENT, u"Probe"_s, true));
    EXPECT_EQ(determineAutomation(u"org.example.probe"_s, false), AUTOMATION_ALLOWED);
    ASSERT_TRUE(decideConsent(CLIENT, u"Probe"_s, false));
    EXPECT_EQ(determineAutomation(u"org.example.probe"_s, true), AUTOMATION_REFUSED);
    probe->terminate();
    await(probe->ended());
}

TEST_F(ConsentTest, SystemEventsAlwaysRuns) {
    const auto id = u"com.apple.SystemEvents"_s;
    EXPECT_EQ(determineAutomation(id, false), AUTOMATION_UNDECIDED);
    ASSERT_TRUE(decideConsent(CLIENT, u"System Events"_s, true));
    EXPECT_EQ(determineAutomation(id, false), AUTOMATION_ALLOWED);
    ASSERT_TRUE(decideConsent(CLIENT, id, false));
    EXPECT_EQ(determineAutomation(id, true), AUTOMATION_REFUSED);
}

TEST_F(ConsentTest, ARecordThatCannotBeUsedLeavesItUndecided) {
    const auto id = u"com.apple.SystemEvents"_s;
    ASSERT_TRUE(decideConsent(CLIENT, id, true));
    scratch.write(u"ombru/consent.db"_s, QByteArray(5000, 'x'));
    EXPECT_EQ(determineAutomation(id, false), AUTOMATION_UNDECIDED);
}

TEST_F(ConsentTest, WhatDoesNotRunIsJustThatWithoutAskingToo) {
    for (const bool allowed : {true, false}) {
        ASSERT_TRUE(decideConsent(CLIENT, EDITOR, allowed));
        EXPECT_EQ(determineAutomation(EDITOR, false), AUTOMATION_NOT_RUNNING);
    }
}

TEST_F(ConsentTest, WhatCannotBeAnIdentifierIsABadTarget) {
    EXPECT_EQ(determineAutomation({}, false), AUTOMATION_BAD_TARGET);
    EXPECT_EQ(determineAutomation(QString(QChar(u'\0')), true), AUTOMATION_BAD_TARGET);
}

TEST_F(ConsentTest, TheProgramThatAsksIsWaitedForAndItsStatusTaken) {
    EXPECT_EQ(runForOwner({u"/bin/sh"_s, u"-c"_s, u"exit $STATUS"_s}, {{"STATUS", "3"}}), 3);
    EXPECT_EQ(runForOwner({u"/bin/sh"_s, u"-c"_s, u"kill -TERM $$"_s}, {}), 128 + SIGTERM);
    EXPECT_FALSE(runForOwner({u"/no/such/program"_s}, {}));
}

TEST_F(ConsentTest, AProgramThatGetsNoAnswerIsEnded) {
    EXPECT_EQ(runApart({u"/bin/sleep"_s, u"600"_s}, {}, std::chrono::milliseconds(1)), 128 + SIGKILL);
}

TEST_F(ConsentTest, AProgramThatCannotBeWatchedIsEnded) {
    withoutCall(SYS_pidfd_open, EMFILE, [] {
        const auto outcome = runApart({u"/bin/sleep"_s, u"600"_s}, {}, std::chrono::minutes(10));
        ASSERT_FALSE(outcome);
        EXPECT_EQ(outcome.error().code, EMFILE);
    });
}
