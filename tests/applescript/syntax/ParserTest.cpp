// What is said of a script that is not written as the language wants it, and where, in characters.
#include "applescript/Script.h"

#include <gtest/gtest.h>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// "START:END MESSAGE (NUMBER)", or "compiles".
std::string complaint(const QString &script) {
    const auto compiled = compile(script);
    if (compiled)
        return "compiles";
    const auto &[range, message, number] = compiled.error();
    return u"%1:%2 %3 (%4)"_s.arg(range.start).arg(range.end).arg(message).arg(number).toStdString();
}

} // namespace

TEST(Parser, SaysWhatItExpectedAndWhatItFound) {
    EXPECT_EQ(complaint(u"set x to"_s), "8:8 Expected expression but found end of script. (-2741)");
    EXPECT_EQ(complaint(u"set x to\n"_s), "8:9 Expected expression but found end of line. (-2741)");
    EXPECT_EQ(complaint(u"set x to 5 y"_s), "11:12 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(u"set x to 5 \"y\""_s), "11:14 Expected end of line but found “\"”. (-2741)");
    EXPECT_EQ(complaint(u"return (1 + 2"_s), "13:13 Expected “)” but found end of script. (-2741)");
    EXPECT_EQ(complaint(u"x.y"_s), "1:2 Expected end of line but found unknown token. (-2741)");
}

TEST(Parser, AWrongOrMissingEndIsAnError) {
    EXPECT_EQ(complaint(u"tell me\nend if"_s), "12:14 Expected “tell”, etc. but found “if”. (-2741)");
    EXPECT_EQ(complaint(u"repeat\n"_s), "7:7 Expected “end” but found end of script. (-2741)");
}

TEST(Parser, AHandlerCannotBeDefinedTwice) {
    EXPECT_EQ(complaint(u"on f()\nend f\non f()\nend f"_s), "13:17 The handler f is defined more than once. (-2752)");
    EXPECT_EQ(complaint(u"on run\nend run\nlog 1"_s), "15:20 The handler run is defined more than once. (-2752)");
}

// A sign outside the Basic Multilingual Plane is one character, and so is each combining mark.
TEST(Parser, PlacesAreCountedInCharacters) {
    EXPECT_EQ(complaint(u"set x to \"👍\" y"_s), "13:14 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(u"set x to \"👍🏽\" y"_s), "14:15 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(u"set x to \"e\u0301\" y"_s), "14:15 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(u"set x to \"é\" y"_s), "13:14 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(u"-- 🌧\nlog \"👍"_s), "9:11 Expected “\"” but found end of script. (-2741)");
}

TEST(Parser, EveryLineEndCountsAsItIsWritten) {
    const auto text = u"log \"👍\"%1set x to 5 y"_s;
    EXPECT_EQ(complaint(text.arg(u"\n"_s)), "19:20 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(text.arg(u"\r"_s)), "19:20 Expected end of line but found identifier. (-2741)");
    EXPECT_EQ(complaint(text.arg(u"\r\n"_s)), "20:21 Expected end of line but found identifier. (-2741)");
}

TEST(Parser, WordsOfTheLanguageKeepTheirMeaning) {
    EXPECT_EQ(complaint(u"set if to 1"_s), "4:6 Expected expression but found “if”. (-2741)");
    EXPECT_EQ(complaint(u"set |if| to 1"_s), "compiles");
    EXPECT_EQ(complaint(u"set count to 3"_s), "4:9 Expected variable name or property but found command name. (-2741)");
}

} // namespace ombru::applescript
