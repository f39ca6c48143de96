// Every kind of setting, in settings of the test's own.
#include "settings/Setting.h"

#include "settings/SettingsStore.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <limits>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

bool isShort(const QString &text) {
    return text.size() <= 3;
}

class Settings : public SettingsStore {
public:
    using SettingsStore::SettingsStore;
    BooleanSetting hint{*this, u"hint", true, u"a boolean"};
    IntegerSetting count{*this, u"count", 4, {-10, 10}, u"an integer"};
    RealSetting pause{*this, u"pause", 0.5, {0, 2.5, u"seconds"}, u"a real"};
    TextSetting name{*this, u"name", u"abc", u"a text", {isShort, u"a text of three letters at most"}};
    TextSetting note{*this, u"note", u"", u"any text"};
    MapSetting states{*this, u"states", u"a map", {u"id", {u"on", u"off", u"broken"}}};
    MapSetting labels{*this, u"labels", u"any map", {u"id", {}}};
};

class SettingTest : public ::testing::Test {
protected:
    std::string fileText() const {
        QFile file(path);
        return file.open(QFile::ReadOnly) ? file.readAll().toStdString() : std::string();
    }
    static QString refusal(const Result<> &result) { return result ? u"(taken)"_s : result.error().description; }

    QTemporaryDir directory;
    QString path = directory.filePath(u"test.conf"_s);
    Settings settings{path};
};

} // namespace

TEST_F(SettingTest, AFreshFileHasTheDefaultOfEveryKind) {
    EXPECT_EQ(settings.hint(), true);
    EXPECT_EQ(settings.count(), 4);
    EXPECT_EQ(settings.pause(), 0.5);
    EXPECT_EQ(settings.name(), u"abc"_s);
    EXPECT_EQ(settings.note(), QString());
    EXPECT_EQ(settings.states(), TextMap());
    EXPECT_FALSE(QFile::exists(path)) << "reading writes nothing";
}

TEST_F(SettingTest, EveryKindIsReadBackAsItWasWritten) {
    const TextMap states{{u"a, \"b\" = ö; [c]"_s, u"on"_s}, {u"d"_s, u"broken"_s}};
    const TextMap labels{{u""_s, u""_s}, {u"x"_s, u"line 1\nline 2"_s}};
    ASSERT_TRUE(settings.hint.write(false));
    ASSERT_TRUE(settings.count.write(-10));
    ASSERT_TRUE(settings.pause.write(0.1));
    ASSERT_TRUE(settings.name.write(u"ö,;"_s));
    ASSERT_TRUE(settings.states.write(states));
    ASSERT_TRUE(settings.labels.write(labels));
    const Settings other(path);
    EXPECT_EQ(other.hint(), false);
    EXPECT_EQ(other.count(), -10);
    EXPECT_EQ(other.pause(), 0.1);
    EXPECT_EQ(other.name(), u"ö,;"_s);
    EXPECT_EQ(other.states(), states);
    EXPECT_EQ(other.labels(), labels);
}

TEST_F(SettingTest, WhatAPersonTypedIsReadAsItsKind) {
    ASSERT_TRUE(settings.hint.writeTyped(u"false"_s));
    ASSERT_TRUE(settings.count.writeTyped(u"+7"_s));
    ASSERT_TRUE(settings.pause.writeTyped(u"2.50"_s));
    ASSERT_TRUE(settings.states.writeTyped(uR"({ "b": "on", "a": "off" })"_s));
    EXPECT_EQ(settings.hint(), false);
    EXPECT_EQ(settings.count(), 7);
    EXPECT_EQ(settings.pause(), 2.5);
    EXPECT_EQ(settings.states(), (TextMap{{u"a"_s, u"off"_s}, {u"b"_s, u"on"_s}}));
    EXPECT_EQ(settings.count.text(), u"7"_s);
    EXPECT_EQ(settings.pause.text(), u"2.5"_s);
    EXPECT_EQ(settings.states.text(), uR"({ "b": "on", "a": "off" })"_s) << "a map is kept as it was typed";
}

TEST_F(SettingTest, ANumberIsKeptWithAllItsDigitsAndNoMore) {
    ASSERT_TRUE(settings.pause.write(1.0 / 3));
    EXPECT_EQ(settings.pause.text(), u"0.3333333333333333"_s);
    EXPECT_EQ(settings.pause(), 1.0 / 3);
    ASSERT_TRUE(settings.pause.write(0.1));
    EXPECT_EQ(settings.pause.text(), u"0.1"_s);
}

TEST_F(SettingTest, EveryRefusalSaysWhatWouldBeRight) {
    EXPECT_EQ(refusal(settings.hint.writeTyped(u"yes"_s)), u"hint cannot be \"yes\": it takes true or false"_s);
    EXPECT_EQ(refusal(settings.count.write(11)), u"count cannot be \"11\": it takes a whole number from -10 to 10"_s);
    EXPECT_EQ(refusal(settings.pause.write(std::numeric_limits<double>::quiet_NaN())),
              u"pause cannot be \"nan\": it takes a number from 0 to 2.5 seconds"_s);
    EXPECT_EQ(refusal(settings.name.write(u"abcd"_s)),
              u"name cannot be \"abcd\": it takes a text of three letters at most"_s);
    EXPECT_EQ(refusal(settings.states.write({{u"a"_s, u"x"_s}})),
              uR"(states cannot be "{"a":"x"}": it takes a JSON object such as {"id":"on"}, with on, off or broken)"_s);
    EXPECT_EQ(refusal(settings.labels.writeTyped(uR"({"a":1})"_s)),
              uR"(labels cannot be "{"a":1}": it takes a JSON object such as {"id":"a text"})"_s);
    EXPECT_FALSE(QFile::exists(path)) << "nothing of it is written";
}

TEST_F(SettingTest, ALongRefusedTextIsShownByItsBeginning) {
    EXPECT_EQ(refusal(settings.name.write(QString(61, u'x'))),
              u"name cannot be \"%1…\": it takes a text of three letters at most"_s.arg(QString(60, u'x')));
}

TEST_F(SettingTest, AnOverrideOfEveryKindCountsForThisProcessOnly) {
    ASSERT_TRUE(settings.hint.override(false));
    ASSERT_TRUE(settings.pause.override(2));
    ASSERT_TRUE(settings.count.overrideTyped(u"1"_s));
    ASSERT_TRUE(settings.labels.override({{u"a"_s, u"b"_s}}));
    EXPECT_FALSE(settings.count.overrideTyped(u"100"_s));
    EXPECT_EQ(settings.hint(), false);
    EXPECT_EQ(settings.pause(), 2);
    EXPECT_EQ(settings.count(), 1);
    EXPECT_EQ(settings.labels(), (TextMap{{u"a"_s, u"b"_s}}));
    EXPECT_EQ(Settings(path).hint(), true);
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(SettingTest, ABadValueOfEveryKindCountsAsTheDefaultAndIsReportedOnce) {
    QFile file(path);
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    file.write("[General]\nhint=maybe\ncount=4.5\npause=inf\nname=abcd\nstates=[]\n");
    file.close();
    QStringList reports;
    settings.onTrouble([&](const QString &line) { reports.append(line); });
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(settings.hint(), true);
        EXPECT_EQ(settings.count(), 4);
        EXPECT_EQ(settings.pause(), 0.5);
        EXPECT_EQ(settings.name(), u"abc"_s);
        EXPECT_EQ(settings.states(), TextMap());
    }
    ASSERT_EQ(reports.size(), 5);
    EXPECT_EQ(reports[0],
              u"hint cannot be \"maybe\": it takes true or false in %1; its default counts instead"_s.arg(path));
}

TEST_F(SettingTest, TheFileKeepsPlainTexts) {
    ASSERT_TRUE(settings.hint.write(false));
    ASSERT_TRUE(settings.pause.write(1));
    ASSERT_TRUE(settings.states.write({{u"a"_s, u"on"_s}}));
    ASSERT_TRUE(settings.labels.write({}));
    EXPECT_EQ(fileText(), "hint=false\npause=1\nstates={\\\"a\\\":\\\"on\\\"}\nlabels=\n");
}

TEST_F(SettingTest, TheSettingsAreListedAsTheyAreDeclared) {
    QStringList keys;
    for (const Setting *setting : settings.all())
        keys.append(setting->key);
    EXPECT_EQ(keys, u"hint count pause name note states labels"_s.split(u' '));
}
