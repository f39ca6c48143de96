#include "base/Text.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(Text, CountsWhatAPersonSees) {
    EXPECT_EQ(characterCount(u""), 0);
    EXPECT_EQ(characterCount(u"abc"), 3);
    EXPECT_EQ(characterCount(u"e\u0301"), 1);
    EXPECT_EQ(characterCount(u"👩‍👩‍👧‍👦!"), 2);
    EXPECT_EQ(characterCount(u"\r\n"), 1);
}

TEST(Text, FirstCharactersNeverCutsACharacter) {
    EXPECT_EQ(firstCharacters(u"abc"_s, 5), u"abc"_s);
    EXPECT_EQ(firstCharacters(u"abc"_s, 2), u"ab"_s);
    EXPECT_EQ(firstCharacters(u"👩‍👩‍👧‍👦xy"_s, 1), u"👩‍👩‍👧‍👦"_s);
    EXPECT_EQ(firstCharacters(u"e\u0301e\u0301"_s, 1), u"e\u0301"_s);
    EXPECT_EQ(firstCharacters(QString(5'000'000, u'x'), 400).size(), 400);
    EXPECT_EQ(firstCharacters(u"abc"_s, 0), QString());
}

TEST(Text, FirstBytesNeverCutsACharacter) {
    EXPECT_EQ(firstBytes(u"abc"_s, 3), u"abc"_s);
    EXPECT_EQ(firstBytes(u"abc"_s, 2), u"ab"_s);
    EXPECT_EQ(firstBytes(u"a€€"_s, 6), u"a€"_s);
    EXPECT_EQ(firstBytes(u"a€€"_s, 7), u"a€€"_s);
    EXPECT_EQ(firstBytes(u"x👩‍👩‍👧‍👦"_s, 25), u"x"_s);
    EXPECT_EQ(firstBytes(u"x👩‍👩‍👧‍👦"_s, 26), u"x👩‍👩‍👧‍👦"_s);
    EXPECT_EQ(firstBytes(QString(5'000'000, u'x'), 400).size(), 400);
    EXPECT_EQ(firstBytes(u"abc"_s, 0), QString());
}

TEST(Text, CharactersAreTheTextInPieces) {
    EXPECT_EQ(characters(u"a👍🏽b"), (QStringList{u"a"_s, u"👍🏽"_s, u"b"_s}));
    EXPECT_TRUE(characters(u"").isEmpty());
}

TEST(Text, FirstLineEndsBeforeTheLineBreak) {
    EXPECT_EQ(firstLine(u"one\ntwo"_s), u"one"_s);
    EXPECT_EQ(firstLine(u"one\r\ntwo"_s), u"one"_s);
    EXPECT_EQ(firstLine(u"one"_s), u"one"_s);
    EXPECT_EQ(firstLine(u"\ntwo"_s), QString());
}

TEST(Text, InvalidUtf8IsRepaired) {
    EXPECT_EQ(repairedUtf8("a\xff"
                           "b"),
              u"a\uFFFDb"_s);
    EXPECT_EQ(repairedUtf8("\xc2\xa7L7"), u"§L7"_s);
    EXPECT_EQ(repairedUtf8("\xEF\xBB\xBFz"), u"\uFEFFz"_s) << "a byte order mark stays";
}

TEST(Text, Utf8ThatIsCutOffIsRepairedToo) {
    EXPECT_TRUE(repairedUtf8("a\xE2\x9C").startsWith(u"a\uFFFD"_s));
}

TEST(Text, AShownLineIsTheTextWhenNothingIsWrongWithIt) {
    EXPECT_EQ(shownLine(u"Größe & <b>日本</b> الخط"_s, 40), u"Größe & <b>日本</b> الخط"_s);
    EXPECT_EQ(shownLine(u"/usr/bin/python3.11"_s, 40), u"/usr/bin/python3.11"_s);
}

TEST(Text, AShownLineHasNoLineBreaksAndNothingUnseen) {
    EXPECT_EQ(shownLine(u"one\ntwo\r\n\tthree\u2028four\u2029five\u0085six"_s, 200),
              u"one«U+000A»two«U+000D»«U+000A»«U+0009»three«U+2028»four«U+2029»five«U+0085»six"_s);
    EXPECT_EQ(shownLine(u"a\u200Bb\u200Dc\uFEFFd\u00ADe"_s, 200), u"a«U+200B»b«U+200D»c«U+FEFF»d«U+00AD»e"_s);
    EXPECT_EQ(shownLine(u"\u202Egnp.exe\u202C\u2066x\u2069\u200F"_s, 200),
              u"«U+202E»gnp.exe«U+202C»«U+2066»x«U+2069»«U+200F»"_s);
    EXPECT_EQ(shownLine(u"  much\u00A0\u3000 space  "_s, 200), u"«U+0020» much«U+00A0»«U+3000» space «U+0020»"_s);
    EXPECT_EQ(shownLine(u"a\uE000b"_s + QChar(0xD800), 200), u"a«U+E000»b\uFFFD"_s);
}

TEST(Text, NamesThatDifferInWhatCannotBeSeenLookDifferent) {
    const QStringList names{u"xterm"_s,       u"xterm\u200B"_s, u"xterm "_s,        u" xterm"_s,
                            u"xterm\uFE0F"_s, u"xterm\u2800"_s, u"xterm\u3164"_s,   u"x\u202Eterm"_s,
                            u"xterm\n"_s,     u"xterm\uE000"_s, u"«U+200B»xterm"_s, u"\u200Bxterm"_s};
    QStringList shown;
    for (const auto &name : names)
        shown += shownLine(name, 60);
    EXPECT_EQ(shown.removeDuplicates(), 0) << shown.join(u'\n').toStdString();
    EXPECT_NE(shownLine(u"a b"_s, 60), shownLine(u"a  b"_s, 60));
    EXPECT_NE(shownLine(u"a b"_s, 60), shownLine(u"a\u00A0b"_s, 60));
}

TEST(Text, AShownLineCannotEndTheQuotationItStandsIn) {
    EXPECT_EQ(shownLine(u"good\u201D. \"Bad\u201C"_s, 40), u"good\u2019. \u2019Bad\u2019"_s);
}

TEST(Text, AShownLineHasNoTowersOfAccents) {
    EXPECT_EQ(shownLine(u"e\u0301"_s + QString(900, u'\u0300') + u"x"_s, 40).size(), 1 + 4 + 1);
}

TEST(Text, AShownLineThatIsTooLongLosesItsMiddle) {
    EXPECT_EQ(shownLine(u"0123456789"_s, 10), u"0123456789"_s);
    EXPECT_EQ(shownLine(u"0123456789"_s, 6), u"012\u202689"_s);
    EXPECT_EQ(shownLine(u"👍🏽👍🏽👍🏽👍🏽👍🏽"_s, 3), u"👍🏽\u2026👍🏽"_s);
    EXPECT_EQ(characterCount(shownLine(QString(5'000'000, u'x'), 60)), 60);
}

TEST(Text, AShownLineIsNeverEmpty) {
    EXPECT_EQ(shownLine({}, 40), u"?"_s);
    EXPECT_EQ(shownLine(u"\u200B"_s, 40), u"«U+200B»"_s);
}
