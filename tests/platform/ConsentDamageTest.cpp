// The owner's decisions as a file that is damaged in every way.
#include "tests/platform/ConsentFixture.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

using ConsentDamageTest = ConsentFixture;

TEST_F(ConsentDamageTest, ADamagedFileIsLeftAlone) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    QFile file(consentDatabase());
    ASSERT_TRUE(file.open(QFile::ReadWrite));
    const auto whole = file.readAll();
    file.close();
    for (const auto &content :
         {QByteArray("no database at all, but some text that is long enough to be one "
                     "if only its first bytes were different, which they are not ...."),
          whole.left(whole.size() / 2), whole.left(50), QByteArray(whole).replace(100, 400, QByteArray(400, '\xff'))}) {
        QDir(scratch.path(u"ombru"_s)).removeRecursively();
        QDir().mkpath(scratch.path(u"ombru"_s));
        scratch.write(u"ombru/consent.db"_s, content);
        expectUnusable();
    }
}

TEST_F(ConsentDamageTest, ANewerOrSomebodyElsesFileIsLeftAlone) {
    QDir().mkpath(scratch.path(u"ombru"_s));
    sql("CREATE TABLE access (service, client, indirect_object_identifier, auth_value, last_modified); INSERT INTO "
        "access VALUES ('kTCCServiceAppleEvents', 'com.ombru.mac', 'org.example.Editor', 2, 1)");
    expectUnusable();
    sql("PRAGMA user_version = 2");
    expectUnusable();
    EXPECT_TRUE(consentDecisions().error().description.contains(u"newer"_s));
    sql("PRAGMA user_version = 1; DROP TABLE access; CREATE TABLE other (x)");
    expectUnusable();
}

TEST_F(ConsentDamageTest, ALockedFileIsGivenUpAfterAMoment) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    SQLite::Database other(consentDatabase().toStdString(), SQLite::OPEN_READWRITE);
    other.exec("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE access SET last_modified = 1; COMMIT; "
               "BEGIN EXCLUSIVE");
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    EXPECT_FALSE(consentDecisions());
    EXPECT_FALSE(refuseConsent(CLIENT, EDITOR));
    other.exec("COMMIT");
}

TEST_F(ConsentDamageTest, WhatIsNoFileIsLeftAlone) {
    ASSERT_TRUE(QDir().mkpath(consentDatabase()));
    expectUnusable();
    ASSERT_TRUE(QDir().rmdir(consentDatabase()));
    ASSERT_EQ(::mkfifo(consentDatabase().toUtf8().constData(), 0600), 0);
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    EXPECT_FALSE(consentDecisions());
    EXPECT_FALSE(refuseConsent(CLIENT, EDITOR));
}

TEST_F(ConsentDamageTest, AFileThatCannotBeReadIsLeftAlone) {
    ASSERT_TRUE(QDir().mkpath(scratch.path(u"ombru"_s)));
    // Reading its beginning fails for every user.
    ASSERT_TRUE(QFile::link(u"/proc/self/mem"_s, consentDatabase()));
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    EXPECT_FALSE(consentDecisions());
    EXPECT_FALSE(refuseConsent(CLIENT, EDITOR));
    EXPECT_FALSE(forgetConsent(CLIENT, EDITOR));
}

TEST_F(ConsentDamageTest, AFileThatOthersCanWriteDecidesNothing) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    for (const mode_t others : {0602, 0620}) {
        ASSERT_EQ(::chmod(consentDatabase().toUtf8().constData(), others), 0);
        expectUnusable();
    }
    ASSERT_EQ(::chmod(consentDatabase().toUtf8().constData(), 0644), 0);
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED);
}

TEST_F(ConsentDamageTest, ADirectoryThatIsNotTheOwnersAloneDecidesNothing) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    const auto directory = scratch.path(u"ombru"_s);
    for (const mode_t others : {0770, 0702}) {
        ASSERT_EQ(::chmod(directory.toUtf8().constData(), others), 0);
        expectUnusable();
    }
    ASSERT_EQ(::chmod(directory.toUtf8().constData(), 0755), 0);
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED);
    ASSERT_TRUE(QFile::rename(directory, scratch.path(u"moved"_s)));
    ASSERT_TRUE(QFile::link(scratch.path(u"moved"_s), directory));
    expectUnusable();
}

// SQLite reads it as a part of the record.
TEST_F(ConsentDamageTest, WhatLiesBesideTheFileIsTheOwnersAloneToo) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    for (const auto &side : {u"-wal"_s, u"-journal"_s, u"-shm"_s}) {
        const auto path = consentDatabase() + side;
        const auto name = path.toUtf8();
        scratch.write(u"ombru/consent.db"_s + side, "");
        EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED) << side.toStdString();
        scratch.write(u"ombru/consent.db"_s + side, "");
        for (const mode_t others : {0602, 0620}) {
            ASSERT_EQ(::chmod(name.constData(), others), 0);
            expectUnusable();
        }
        QFile::remove(path);
        ASSERT_TRUE(QFile::link(scratch.write(u"elsewhere"_s, ""), path));
        expectUnusable();
        QFile::remove(path);
        ASSERT_EQ(::mkfifo(name.constData(), 0600), 0);
        expectUnusable();
        QFile::remove(path);
    }
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED);
}

TEST_F(ConsentDamageTest, ARecordBehindALinkDecidesNothing) {
    ASSERT_TRUE(decideConsent(CLIENT, EDITOR, true));
    ASSERT_TRUE(QFile::rename(consentDatabase(), scratch.path(u"elsewhere"_s)));
    ASSERT_TRUE(QFile::link(scratch.path(u"elsewhere"_s), consentDatabase()));
    expectUnusable();
}

TEST_F(ConsentDamageTest, ADirectoryThatCannotBeMadeIsSaid) {
    scratch.write(u"ombru"_s, "a file in its place");
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    EXPECT_FALSE(refuseConsent(CLIENT, EDITOR));
}

TEST_F(ConsentDamageTest, AnEmptyFileIsTheBeginningOfARecord) {
    QDir().mkpath(scratch.path(u"ombru"_s));
    scratch.write(u"ombru/consent.db"_s, "");
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_UNDECIDED);
    EXPECT_TRUE(consentDecisions());
    EXPECT_TRUE(decideConsent(CLIENT, EDITOR, true));
    EXPECT_EQ(check().automation(EDITOR, false), AUTOMATION_ALLOWED);
}

TEST_F(ConsentDamageTest, QuotesInIdentifiersAreNoStatements) {
    const auto sly = u"x'; DROP TABLE access; --"_s;
    ASSERT_TRUE(decideConsent(sly, sly, true));
    ASSERT_EQ(consentDecisions()->size(), 1U);
    EXPECT_EQ(consentDecisions()->front().application, sly);
    ASSERT_TRUE(forgetConsent(sly, sly));
    EXPECT_TRUE(consentDecisions()->empty());
}

// Of an application that was installed after the decision, which then has another identifier.
TEST_F(ConsentDamageTest, AnEarlierIdentifiersDecisionIsForgottenAndReplacedToo) {
    const auto safari = u"com.apple.Safari"_s;
    const auto install = [this] {
        QDir().mkpath(scratch.path(u"system/applications"_s));
        scratch.write(u"system/applications/org.example.Browser.desktop"_s,
                      "[Desktop Entry]\nType=Application\nName=Browser\nExec=/bin/true\n"
                      "MimeType=x-scheme-handler/https;\nCategories=WebBrowser;\n");
    };
    const auto remove = [this] { QFile::remove(scratch.path(u"system/applications/org.example.Browser.desktop"_s)); };
    ASSERT_TRUE(decideConsent(CLIENT, safari, true));
    install();
    ASSERT_TRUE(refuseConsent(CLIENT, safari));
    ASSERT_EQ(consentDecisions()->size(), 1U);
    EXPECT_EQ(consentDecisions()->front().application, u"org.example.Browser"_s);
    EXPECT_FALSE(consentDecisions()->front().allowed);
    ASSERT_TRUE(takeBack(CLIENT, safari));
    remove();
    ASSERT_TRUE(decideConsent(CLIENT, safari, true));
    install();
    ASSERT_TRUE(forgetConsent(CLIENT, safari));
    EXPECT_TRUE(consentDecisions()->empty());
}
