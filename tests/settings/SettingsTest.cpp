#include "settings/Settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class SettingsTest : public ::testing::Test {
protected:
    void writeFile(const QByteArray &text) {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
        file.write(text);
    }

    QByteArray fileText() const {
        QFile file(path);
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir directory;
    QString path = directory.filePath(u"ombru/ombru.conf"_s);
};

} // namespace

TEST_F(SettingsTest, AFreshProfileHasTheDefaults) {
    const Settings settings(path);
    EXPECT_EQ(settings.maxSteps(), 15);
    EXPECT_EQ(settings.scriptTimeout(), 60.0);
    EXPECT_EQ(settings.settle(), 1.0);
    EXPECT_EQ(settings.callPort(), 8765);
    EXPECT_EQ(settings.model(), QString());
    EXPECT_EQ(settings.cachedPrompt(), QString());
    EXPECT_EQ(settings.serverURL(), u"http://localhost:8787"_s) << "where a service of one's own listens";
    EXPECT_FALSE(QFile::exists(path)) << "reading writes nothing";
}

TEST_F(SettingsTest, EveryDefaultIsAllowed) {
    for (const Setting *setting : Settings(path).all())
        EXPECT_TRUE(setting->checked(setting->initialText())) << setting->key.toStdString();
}

TEST_F(SettingsTest, TheApplicationsAreAJsonObjectOfStates) {
    Settings settings(path);
    const auto written = u"{\"com.apple.finder\":\"granted\",\"a,b\":\"missing\",\"c\":\"unknown\"}"_s;
    ASSERT_TRUE(settings.appAutomation.writeTyped(written));
    EXPECT_EQ(Settings(path).appAutomation.text(), written);
    for (const auto &garbage :
         {u"granted"_s, u"[\"granted\"]"_s, u"{\"a\":\"maybe\"}"_s, u"{\"a\":1}"_s, u"{\"a\""_s}) {
        const auto refused = settings.appAutomation.writeTyped(garbage);
        ASSERT_FALSE(refused) << garbage.toStdString();
        EXPECT_TRUE(refused.error().description.contains(u"with granted, missing or unknown"_s));
    }
    EXPECT_EQ(settings.appAutomation.text(), written);
    ASSERT_TRUE(settings.appAutomation.writeTyped({}));
    EXPECT_EQ(settings.appAutomation.text(), QString());
}

TEST_F(SettingsTest, WhatIsWrittenIsReadBackByEverybody) {
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    ASSERT_TRUE(settings.settle.write(0.25));
    ASSERT_TRUE(settings.model.write(u"a, \"b\" = ö; [c]"_s));
    ASSERT_TRUE(settings.cachedPrompt.write(u"line 1\nline 2\\n\t%"_s));
    EXPECT_EQ(settings.maxSteps(), 3);
    const Settings other(path);
    EXPECT_EQ(other.maxSteps(), 3);
    EXPECT_EQ(other.settle(), 0.25);
    EXPECT_EQ(other.model(), u"a, \"b\" = ö; [c]"_s);
    EXPECT_EQ(other.cachedPrompt(), u"line 1\nline 2\\n\t%"_s);
}

TEST_F(SettingsTest, TheFileIsPrivate) {
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    EXPECT_FALSE(QFile::permissions(path) & others);
    EXPECT_FALSE(QFile::permissions(directory.filePath(u"ombru"_s)) & others);
}

TEST_F(SettingsTest, ADirectoryThatIsThereKeepsItsMode) {
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    const auto everybodys = QFile::Permissions(0x7755);
    ASSERT_TRUE(QFile::setPermissions(QFileInfo(path).path(), everybodys));
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    EXPECT_EQ(QFile::permissions(QFileInfo(path).path()) & everybodys, everybodys);
}

TEST_F(SettingsTest, AChangeByHandCountsAtTheNextRead) {
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    EXPECT_EQ(settings.maxSteps(), 3);
    writeFile("[General]\nmaxSteps=21\n");
    EXPECT_EQ(settings.maxSteps(), 21);
}

TEST_F(SettingsTest, WrongTypesAndValuesOutOfRangeAreRefusedWithTheRange) {
    Settings settings(path);
    for (const auto &typed : {u"many"_s, u"2.5"_s, u""_s, u"0"_s, u"-1"_s, u"1001"_s, u"99999999999"_s}) {
        const auto written = settings.maxSteps.writeTyped(typed);
        ASSERT_FALSE(written) << typed.toStdString();
        EXPECT_EQ(written.error().description,
                  u"maxSteps cannot be \"%1\": it takes a whole number from 1 to 1000"_s.arg(typed));
    }
    for (const auto &typed : {u"nan"_s, u"inf"_s, u"61"_s, u"-0.1"_s})
        EXPECT_FALSE(settings.settle.writeTyped(typed)) << typed.toStdString();
    for (const auto &typed :
         {u"ftp://x"_s, u"https://"_s, u"x"_s, u"https://a/b?c"_s, u"https://a#b"_s, u"https://u@a"_s})
        EXPECT_FALSE(settings.serverURL.write(typed)) << typed.toStdString();
    EXPECT_EQ(settings.maxSteps(), 15);
}

TEST_F(SettingsTest, AServiceAddressMayHaveAPortAndAPath) {
    Settings settings(path);
    for (const auto &typed :
         {u"http://localhost:9000"_s, u"http://host:8080"_s, u"https://host/base"_s, u"https://host/"_s}) {
        EXPECT_TRUE(settings.serverURL.write(typed)) << typed.toStdString();
        EXPECT_EQ(settings.serverURL(), typed);
    }
}

TEST_F(SettingsTest, TheSpeechServiceIsAnOriginAndNothingElse) {
    Settings settings(path);
    EXPECT_EQ(settings.speechURL(), u"https://api.deepgram.com"_s);
    for (const auto &typed :
         {u"http://localhost:9000"_s, u"https://speech.example"_s, u"https://[::1]:8"_s, u"HTTPS://host"_s})
        EXPECT_TRUE(settings.speechURL.write(typed)) << typed.toStdString();
    for (const auto &typed : {u""_s, u"host"_s, u"wss://host"_s, u"ftp://host"_s, u"https://"_s, u"https://host/"_s,
                              u"https://host/v1"_s, u"https://host?a"_s, u"https://host#a"_s, u"https://key@host"_s}) {
        const auto refused = settings.speechURL.write(typed);
        ASSERT_FALSE(refused) << typed.toStdString();
        EXPECT_EQ(refused.error().description,
                  u"speechURL cannot be \"%1\": it takes an http or https address without a "
                  u"path, such as https://api.deepgram.com"_s.arg(typed));
    }
    EXPECT_EQ(settings.speechURL(), u"HTTPS://host"_s);
}

TEST_F(SettingsTest, CallsAreTakenFromThisComputerUnlessItsOwnerSaysFromAny) {
    Settings settings(path);
    EXPECT_EQ(settings.callInterface(), u"loopback"_s);
    EXPECT_TRUE(settings.callInterface.write(u"any"_s));
    for (const auto &typed : {u""_s, u"0.0.0.0"_s, u"Any"_s})
        EXPECT_EQ(settings.callInterface.write(typed).error().description,
                  u"callInterface cannot be \"%1\": it takes loopback or any"_s.arg(typed));
    EXPECT_EQ(settings.callInterface(), u"any"_s);
}

TEST_F(SettingsTest, TheStopKeyIsACombinationOrNone) {
    Settings settings(path);
    EXPECT_EQ(settings.stopKey(), u"Ctrl+Shift+Escape"_s);
    EXPECT_TRUE(settings.stopKey.write(u"Pause"_s));
    EXPECT_TRUE(settings.stopKey.write(u""_s));
    const auto refused = settings.stopKey.write(u"Escape"_s);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().description.contains(u"such as Ctrl+Shift+Escape"_s))
        << refused.error().description.toStdString();
}

TEST_F(SettingsTest, AnUnknownKeyIsNone) {
    const Settings settings(path);
    EXPECT_EQ(settings.find(u"maxstep"), nullptr);
    EXPECT_EQ(settings.find(u"maxSteps"), &settings.maxSteps);
}

TEST_F(SettingsTest, ABadValueWrittenByHandCountsAsTheDefaultAndIsReportedOnce) {
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    writeFile("[General]\nmaxSteps=lots\ncallPort=70000\n");
    QStringList reports;
    settings.onTrouble([&](const QString &line) { reports.append(line); });
    EXPECT_EQ(settings.maxSteps(), 15);
    EXPECT_EQ(settings.maxSteps(), 15);
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports[0].contains(u"maxSteps cannot be \"lots\""_s)) << reports[0].toStdString();
    EXPECT_EQ(settings.callPort(), 8765);
    EXPECT_EQ(reports.size(), 2);
}

TEST_F(SettingsTest, AFileOfGarbageIsAllDefaults) {
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    writeFile(QByteArray("\xff\xfe\0garbage[[[\n=\n", 16));
    EXPECT_EQ(settings.maxSteps(), 15);
    EXPECT_EQ(settings.model(), QString());
}

TEST_F(SettingsTest, ACommentAndALineThatCannotBeReadStayAndCostNoOtherLine) {
    const QByteArray written = "# not too many\n\nmaxSteps=21\nthis is no setting\ncallPort=8000 ; mine\n";
    writeFile(written);
    Settings settings(path);
    QStringList reports;
    settings.onTrouble([&](const QString &line) { reports.append(line); });
    ASSERT_TRUE(settings.settle.write(2));
    EXPECT_EQ(settings.maxSteps(), 21);
    EXPECT_EQ(settings.callPort(), 8000);
    EXPECT_EQ(settings.settle(), 2.0);
    EXPECT_EQ(fileText(), written + "settle=2\n");
    EXPECT_EQ(reports,
              QStringList{u"line 4 of %1 is not KEY=VALUE and counts as nothing: this is no setting"_s.arg(path)});
    ASSERT_TRUE(settings.maxSteps.write(22));
    EXPECT_EQ(fileText(), QByteArray(written).replace("21", "22") + "settle=2\n");
    EXPECT_EQ(QDir(directory.path() + u"/ombru"_s).entryList(QDir::Files), QStringList{u"ombru.conf"_s});
}

TEST_F(SettingsTest, AHalfSavedFileThatIsWholeAMomentLaterIsReadWhole) {
    writeFile("maxSteps=21\ncallPo");
    Settings settings(path);
    EXPECT_EQ(settings.maxSteps(), 21);
    EXPECT_EQ(settings.callPort(), 8765);
    writeFile("maxSteps=21\ncallPort=8000\n");
    EXPECT_EQ(settings.callPort(), 8000);
    ASSERT_TRUE(settings.settle.write(2));
    EXPECT_EQ(fileText(), "maxSteps=21\ncallPort=8000\nsettle=2\n");
}

TEST_F(SettingsTest, AFileThatAnEditorHasJustEmptiedIsNotWritten) {
    writeFile("maxSteps=21\n");
    Settings settings(path);
    writeFile("");
    const auto written = settings.settle.write(2);
    ASSERT_FALSE(written);
    EXPECT_EQ(
        written.error().description,
        u"cannot write %1, which has just become empty: should an editor be saving it, try again in a moment"_s.arg(
            path));
    EXPECT_EQ(fileText(), "");
    writeFile("maxSteps=22\n");
    ASSERT_TRUE(settings.settle.write(2));
    EXPECT_EQ(fileText(), "maxSteps=22\nsettle=2\n");
}

TEST_F(SettingsTest, AFileThatItsOwnerLeftEmptyIsWritten) {
    writeFile("");
    QFile file(path);
    ASSERT_TRUE(file.open(QFile::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-60), QFile::FileModificationTime));
    file.close();
    ASSERT_TRUE(Settings(path).settle.write(2));
    EXPECT_EQ(fileText(), "settle=2\n");
}

TEST_F(SettingsTest, AnotherProcessesWriteIsKept) {
    Settings one(path);
    Settings other(path);
    ASSERT_TRUE(one.maxSteps.write(3));
    ASSERT_TRUE(other.callPort.write(8000));
    ASSERT_TRUE(one.settle.write(2));
    EXPECT_EQ(fileText(), "maxSteps=3\ncallPort=8000\nsettle=2\n");
}

TEST_F(SettingsTest, WhatTheFileSaysAlreadyIsNotWrittenAgain) {
    writeFile("maxSteps=3\n");
    const auto another = directory.filePath(u"another name"_s);
    ASSERT_EQ(::link(qPrintable(path), qPrintable(another)), 0);
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    writeFile("maxSteps=4\n");
    QFile same(another);
    ASSERT_TRUE(same.open(QFile::ReadOnly));
    EXPECT_EQ(same.readAll(), "maxSteps=4\n") << "it is the same file still";
}

TEST_F(SettingsTest, ALinkStaysALinkAndTheFileBehindItKeepsItsMode) {
    const auto target = directory.filePath(u"mine.conf"_s);
    writeFile("maxSteps=21\n");
    ASSERT_TRUE(QFile::rename(path, target));
    ASSERT_TRUE(QFile::link(target, path));
    const auto mode = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup;
    ASSERT_TRUE(QFile::setPermissions(target, mode));
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.write(3));
    EXPECT_TRUE(QFileInfo(path).isSymLink());
    EXPECT_EQ(fileText(), "maxSteps=3\n");
    EXPECT_EQ(QFile::permissions(target) & (mode | QFile::WriteGroup | QFile::ReadOther), mode);
}

TEST_F(SettingsTest, AFileThatItsOwnerMadeReadOnlyStaysAsItIs) {
    writeFile("maxSteps=21\n");
    ASSERT_TRUE(QFile::setPermissions(path, QFile::ReadOwner));
    const auto written = Settings(path).maxSteps.write(3);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().description,
              u"cannot write %1, which its owner made read-only: `chmod u+w` lets ombru change it"_s.arg(path));
    EXPECT_EQ(fileText(), "maxSteps=21\n");
    EXPECT_FALSE(QFile::permissions(path) & QFile::WriteOwner);
}

TEST_F(SettingsTest, AFileWithASecondNameKeepsBoth) {
    writeFile("maxSteps=21\n");
    const auto other = directory.filePath(u"mine.conf"_s);
    ASSERT_EQ(::link(qPrintable(path), qPrintable(other)), 0);
    const auto written = Settings(path).maxSteps.write(3);
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().description.startsWith(u"cannot write %1, which has a second name"_s.arg(path)));
    EXPECT_EQ(fileText(), "maxSteps=21\n");
    ASSERT_TRUE(QFile::remove(other));
    EXPECT_TRUE(Settings(path).maxSteps.write(3));
}

TEST_F(SettingsTest, AFileThatCannotBeReadIsNotWrittenOver) {
    ASSERT_TRUE(QDir().mkpath(path)); // not even the superuser reads a directory
    Settings settings(path);
    QStringList reports;
    settings.onTrouble([&](const QString &line) { reports.append(line); });
    EXPECT_EQ(settings.maxSteps(), 15);
    EXPECT_EQ(settings.callPort(), 8765);
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports[0].startsWith(u"cannot read %1: "_s.arg(path))) << reports[0].toStdString();
    const auto written = settings.maxSteps.write(3);
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().description.startsWith(u"cannot write %1, which cannot be read: "_s.arg(path)));
    EXPECT_TRUE(QFileInfo(path).isDir());
}

TEST_F(SettingsTest, AFileOfANewerVersionIsNeitherReadNorWritten) {
    const QByteArray newer = "settingsVersion=2\nmaxSteps=3\n";
    writeFile(newer);
    Settings settings(path);
    QStringList reports;
    settings.onTrouble([&](const QString &line) { reports.append(line); });
    EXPECT_EQ(settings.maxSteps(), 15);
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports[0].contains(u"it is of a newer ombru (settingsVersion=2, where this one knows 1)"_s));
    ASSERT_FALSE(settings.isOfThisVersion());
    EXPECT_TRUE(settings.isOfThisVersion().error().description.startsWith(path + u": it is of a newer ombru"_s));
    EXPECT_FALSE(settings.maxSteps.write(4));
    EXPECT_EQ(fileText(), newer);
    EXPECT_EQ(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"ombru.conf"_s});
}

TEST_F(SettingsTest, AFileOfThisVersionSaysSoOrNothing) {
    EXPECT_TRUE(Settings(path).isOfThisVersion()) << "there is none";
    writeFile("maxSteps=3\n");
    EXPECT_TRUE(Settings(path).isOfThisVersion());
    writeFile("settingsVersion=1\nmaxSteps=4\n");
    EXPECT_TRUE(Settings(path).isOfThisVersion());
    EXPECT_EQ(Settings(path).maxSteps(), 4);
}

TEST_F(SettingsTest, APipeInPlaceOfTheFileIsNotWaitedFor) {
    QDir().mkpath(QFileInfo(path).path());
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
    Settings settings(path);
    EXPECT_EQ(settings.maxSteps(), 15);
    EXPECT_FALSE(settings.maxSteps.write(3));
}

TEST_F(SettingsTest, AnOverrideCountsForThisProcessOnly) {
    Settings settings(path);
    ASSERT_TRUE(settings.maxSteps.override(2));
    EXPECT_EQ(settings.maxSteps(), 2);
    EXPECT_EQ(Settings(path).maxSteps(), 15);
    EXPECT_FALSE(settings.maxSteps.override(0));
    EXPECT_EQ(settings.maxSteps(), 2);
}

TEST_F(SettingsTest, ADirectoryThatCannotBeWrittenIsSaid) {
    Settings settings(u"/proc/ombru/ombru.conf"_s);
    const auto written = settings.maxSteps.write(3);
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().description.startsWith(u"cannot write /proc/ombru/ombru.conf"_s));
}
