#include "settings/SettingsText.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QByteArray WRITTEN_BY_HAND = "# my settings\n"
                                   "\n"
                                   "  maxSteps = 20   ; not too many\n"
                                   "; model=old\n"
                                   "[General]\r\n"
                                   "model=\"a; b\"\r\n"
                                   "maxSteps=21\n"
                                   "\n"
                                   "[Other] # theirs\n"
                                   "maxSteps=1\n"
                                   "nonsense\n";

QByteArray afterSetting(const QByteArray &text, QStringView key, const QString &value) {
    SettingsText settings(text);
    settings.set(key, value);
    return settings.bytes();
}

std::optional<QString> onlyValue(const QByteArray &value) {
    return SettingsText("key=" + value + '\n').value(u"key");
}

} // namespace

TEST(SettingsText, ASettingStandsInGeneralOrBeforeTheFirstSectionAndTheLastOneCounts) {
    const SettingsText text(WRITTEN_BY_HAND);
    EXPECT_EQ(text.value(u"maxSteps"), u"21"_s);
    EXPECT_EQ(text.value(u"model"), u"a; b"_s);
    EXPECT_EQ(text.value(u"settle"), std::nullopt);
    EXPECT_EQ(SettingsText("[Other]\na=1\n[general]\na=2\n").value(u"a"), u"2"_s);
    EXPECT_EQ(SettingsText("\xef\xbb\xbf"
                           "a=1\n")
                  .value(u"a"),
              u"1"_s);
}

TEST(SettingsText, ToSetOneChangesItsValueAndNothingElse) {
    EXPECT_EQ(SettingsText(WRITTEN_BY_HAND).bytes(), WRITTEN_BY_HAND);
    EXPECT_EQ(afterSetting(WRITTEN_BY_HAND, u"maxSteps", u"9"_s),
              QByteArray(WRITTEN_BY_HAND).replace("maxSteps=21", "maxSteps=9"));
    EXPECT_EQ(afterSetting(WRITTEN_BY_HAND, u"model", u"c"_s), QByteArray(WRITTEN_BY_HAND).replace("\"a; b\"", "c"));
    EXPECT_EQ(afterSetting(" a = 20   ; why", u"a", u"x;y"_s), " a = \"x;y\"   ; why");
    EXPECT_EQ(afterSetting("a =\nb=", u"a", u"1"_s), "a =1\nb=");
}

TEST(SettingsText, AFurtherOneStandsBehindTheOthers) {
    EXPECT_EQ(afterSetting(WRITTEN_BY_HAND, u"settle", u"2"_s),
              QByteArray(WRITTEN_BY_HAND).replace("maxSteps=21\n", "maxSteps=21\nsettle=2\n"));
    EXPECT_EQ(afterSetting({}, u"a", u"1"_s), "a=1\n");
    EXPECT_EQ(afterSetting("# mine\n\n", u"a", u"1"_s), "# mine\na=1\n\n");
    EXPECT_EQ(afterSetting("b=2", u"a", u"1"_s), "b=2\na=1\n");
    EXPECT_EQ(afterSetting("[Other]\nb=2\n", u"a", u"1"_s), "a=1\n[Other]\nb=2\n");
}

TEST(SettingsText, EveryTextIsReadBackAsItWasSet) {
    for (const auto &value : {u""_s, u" a "_s, u"a, \"b\" = ö; [c]"_s, u"\"q\""_s,
                              u"line 1\nline 2\\n\t%\r\x1"
                              "f"_s,
                              u"@x"_s, u"@@"_s, u"#a"_s, u"a #b"_s, u"\\"_s, u"C:\\x41\\q"_s, u"{\"a\":\"on\"}"_s,
                              u"\U0001f600\u0301"_s, QString(QChar(0)) + u'1'})
        EXPECT_EQ(SettingsText(afterSetting("k=1\n# c\n", u"k", value)).value(u"k"), value) << value.toStdString();
}

TEST(SettingsText, WhatAPersonWritesIsReadAsItLooks) {
    EXPECT_EQ(onlyValue("a, b,c"), u"a, b,c"_s);
    EXPECT_EQ(onlyValue("{\"a;b\":\"on\"} ; why"), u"{\"a;b\":\"on\"}"_s);
    EXPECT_EQ(onlyValue("\"a\", \"b\""), u"\"a\", \"b\""_s);
    EXPECT_EQ(onlyValue("\"half"), u"\"half"_s);
    EXPECT_EQ(onlyValue("a\\q\\"), u"a\\q\\"_s);
    EXPECT_EQ(onlyValue("https://a/#b"), u"https://a/#b"_s);
    EXPECT_EQ(onlyValue(" \"  a \\\" b ; c \" ; why\r"), u"  a \" b ; c "_s);
}

TEST(SettingsText, WhatQSettingsWroteIsReadAsItMeantIt) {
    EXPECT_EQ(onlyValue("\"a, \\\"b\\\" = \xc3\xb6; [c]\""), u"a, \"b\" = ö; [c]"_s);
    EXPECT_EQ(onlyValue("line 1\\nline 2\\\\n\\t%\\x1\\x66\\0"), u"line 1\nline 2\\n\t%\x1"
                                                                 "f"_s +
                                                                     QChar(0));
    EXPECT_EQ(onlyValue("@@x"), u"@x"_s);
    EXPECT_EQ(onlyValue("{\\\"a\\\":\\\"on\\\"}"), u"{\"a\":\"on\"}"_s);
}

TEST(SettingsText, ALineThatCannotBeReadCostsItselfOnly) {
    const SettingsText text("a=1\nwords of mine\n[half\n=5\nb=2\n");
    EXPECT_EQ(text.value(u"a"), u"1"_s);
    EXPECT_EQ(text.value(u"b"), u"2"_s);
    const auto unreadable = text.unreadable();
    ASSERT_EQ(unreadable.size(), 3);
    EXPECT_EQ(unreadable[0].number, 2);
    EXPECT_EQ(unreadable[0].text, u"words of mine"_s);
    EXPECT_EQ(unreadable[1].number, 3);
    EXPECT_EQ(unreadable[2].number, 4);
    EXPECT_EQ(SettingsText(WRITTEN_BY_HAND).unreadable().size(), 1);
}
