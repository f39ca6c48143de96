// Text to tokens: where each one is, what it means, and what is said of text that never ends.
#include "applescript/syntax/Lexer.h"

#include <gtest/gtest.h>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// One word a token: its kind and what it means.
QString kinds(const QString &script) {
    using enum Token::Kind;
    QStringList written;
    for (const auto &token : tokenize(script)) {
        switch (token.kind) {
        case word:
            written += u"word:"_s + token.key;
            break;
        case name:
            written += u"name:"_s + token.key;
            break;
        case text:
            written += u"text:"_s + token.key;
            break;
        case integer:
            written += u"integer:"_s + QString::number(token.number, 'f', 0);
            break;
        case real:
            written += u"real:"_s + QString::number(token.number, 'g', 12);
            break;
        case ordinal:
            written += u"ordinal:"_s + QString::number(token.number);
            break;
        case symbol:
            written += token.key;
            break;
        case chevron:
            written += u"«"_s + token.key + u"»"_s;
            break;
        case endOfLine:
            written += u"/"_s;
            break;
        case endOfScript:
            written += u"end"_s;
            break;
        case unknown:
            written += u"unknown:"_s + token.key;
            break;
        }
    }
    return written.join(u' ');
}

#define EXPECT_TOKENS(script, expected) EXPECT_EQ(kinds(script).toStdString(), QString(expected).toStdString())

// "START:END MESSAGE", in code units of the script.
std::string complaint(const QString &script) {
    try {
        tokenize(script);
    } catch (const SyntaxError &error) {
        return u"%1:%2 %3"_s.arg(error.range.start).arg(error.range.end).arg(error.message).toStdString();
    }
    return "none";
}

} // namespace

TEST(Lexer, TellsWordsNumbersAndTextsApart) {
    EXPECT_TOKENS(u"Tell ITEM 3 \"Hi\""_s, u"word:tell word:item integer:3 text:Hi end"_s);
    EXPECT_TOKENS(u"1 1.5 .5 1e3 2nd 536870911 536870912"_s,
                  u"integer:1 real:1.5 unknown:. integer:5 real:1000 ordinal:2 integer:536870911 real:536870912 end"_s);
}

TEST(Lexer, ContractionsAreOneWordAndOwnershipIsASymbol) {
    EXPECT_TOKENS(u"x isn't y's z"_s, u"word:x word:isn't word:y 's word:z end"_s);
    EXPECT_TOKENS(u"x doesn’t y’s"_s, u"word:x word:doesn't word:y 's end"_s);
}

TEST(Lexer, PlainFormsOfSymbolsAreTheirSigns) {
    EXPECT_TOKENS(u"a /= b <= c >= d ÷ e"_s, u"word:a ≠ word:b ≤ word:c ≥ word:d / word:e end"_s);
}

TEST(Lexer, TextHasItsEscapesResolved) {
    EXPECT_TOKENS(u"\"a\\\"b\\\\c\\td\""_s, u"text:a\"b\\c\td end"_s);
}

TEST(Lexer, ANameBetweenBarsMayHoldAnything) {
    EXPECT_TOKENS(u"|two words| |a\\|b|"_s, u"name:two words name:a|b end"_s);
}

TEST(Lexer, CommentsAreGoneAndBlockCommentsNest) {
    EXPECT_TOKENS(u"a -- b\nc # d\n(* e (* f *) g *) h"_s, u"word:a / word:c / word:h end"_s);
}

TEST(Lexer, AContinuedLineIsOne) {
    EXPECT_TOKENS(u"a ¬ -- why\r\n b"_s, u"word:a word:b end"_s);
    EXPECT_TOKENS(u"a ¬ b"_s, u"word:a unknown:¬ word:b end"_s);
}

TEST(Lexer, EverySystemsLineEndIsOneToken) {
    for (const auto &lineEnd : {u"\n"_s, u"\r"_s, u"\r\n"_s})
        EXPECT_TOKENS(u"a"_s + lineEnd + u"b"_s, u"word:a / word:b end"_s);
    EXPECT_TOKENS(u"a\n\rb"_s, u"word:a / / word:b end"_s);
}

TEST(Lexer, CodesMayBeWrittenInThreeWays) {
    EXPECT_TOKENS(u"«class  cwin» 《event》 <<data>>"_s, u"«class cwin» «event» «data» end"_s);
}

TEST(Lexer, EachTokenKnowsItsPlace) {
    const auto tokens = tokenize(u"set x to \"👍🏽\"\r\ny"_s);
    ASSERT_EQ(tokens.size(), 7U);
    EXPECT_EQ(tokens[3].range, (Range{9, 15})) << "in code units, two for each sign";
    EXPECT_EQ(tokens[4].range, (Range{15, 17})) << "the line end";
    EXPECT_EQ(tokens[5].range, (Range{17, 18}));
    EXPECT_EQ(tokens[6].range, (Range{18, 18})) << "the end of the script";
}

TEST(Lexer, WhatNeverEndsIsAnErrorFromWhereItBegan) {
    EXPECT_EQ(complaint(u"log \"abc"_s), "4:8 Expected “\"” but found end of script.");
    EXPECT_EQ(complaint(u"log \"abc\\\""_s), "4:10 Expected “\"” but found end of script.");
    EXPECT_EQ(complaint(u"x (* (* *) y"_s), "2:12 Expected “*)” but found end of script.");
    EXPECT_EQ(complaint(u"set |x to\n1"_s), "4:9 Expected “|” but found end of line.");
}

TEST(Lexer, NothingIsAScriptOfNoTokens) {
    EXPECT_TOKENS(QString(), u"end"_s);
    EXPECT_TOKENS(u" \t\u00A0\uFEFF"_s, u"end"_s);
}

} // namespace ombru::applescript
