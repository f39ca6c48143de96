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
}
