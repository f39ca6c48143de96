#include "agent/AppleScriptRunner.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using AppleScriptRunner::instrument;
using AppleScriptRunner::matches;
using AppleScriptRunner::Stripped;
using AppleScriptRunner::stripStringsAndComments;
using Lines = std::set<int>;

namespace {

Lines marked(const QString &script) {
    return instrument(script).marked;
}

} // namespace

TEST(Strip, TakesCommentsOutAndEmptiesStrings) {
    EXPECT_EQ(stripStringsAndComments(u"  beep -- loud"_s, 0), (Stripped{u"beep"_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"\tbeep # loud"_s, 0), (Stripped{u"beep"_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"say \"a\" & (* b *) \"c\""_s, 0), (Stripped{u"say \"\" &  \"\""_s, 0}));
    EXPECT_EQ(stripStringsAndComments({}, 0), (Stripped{{}, 0}));
}

TEST(Strip, CommentSignsInAStringAreText) {
    EXPECT_EQ(stripStringsAndComments(u"display dialog \"a -- b\""_s, 0), (Stripped{u"display dialog \"\""_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"display dialog \"#1 (* x\""_s, 0), (Stripped{u"display dialog \"\""_s, 0}));
}

TEST(Strip, AnEscapedQuoteDoesNotEndAString) {
    EXPECT_EQ(stripStringsAndComments(uR"(say "a \" -- b" & x)"_s, 0), (Stripped{u"say \"\" & x"_s, 0}));
    EXPECT_EQ(stripStringsAndComments(uR"(say "a \\" -- b)"_s, 0), (Stripped{u"say \"\""_s, 0}));
}

TEST(Strip, AnUnterminatedStringReachesToTheEndOfTheLine) {
    EXPECT_EQ(stripStringsAndComments(u"say \"a -- b"_s, 0), (Stripped{u"say \"\""_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"say \"a\\"_s, 0), (Stripped{u"say \"\""_s, 0}));
}

TEST(Strip, BlockCommentsNestAcrossLines) {
    EXPECT_EQ(stripStringsAndComments(u"beep (* one (* two"_s, 0), (Stripped{u"beep"_s, 2}));
    EXPECT_EQ(stripStringsAndComments(u"\"still -- inside\" *) # inside"_s, 2), (Stripped{{}, 1}));
    EXPECT_EQ(stripStringsAndComments(u"*) say 1"_s, 1), (Stripped{u"say 1"_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"(* (* *) *) x"_s, 0), (Stripped{u"x"_s, 0}));
}

TEST(Strip, TheOpeningStarDoesNotCloseToo) {
    EXPECT_EQ(stripStringsAndComments(u"(*) x"_s, 0), (Stripped{{}, 1}));
    EXPECT_EQ(stripStringsAndComments(u"*) x"_s, 0), (Stripped{u"*) x"_s, 0}));
}

TEST(Strip, ReadsCharactersAsAPersonSeesThem) {
    // A keycap is no number sign, and a quote with an accent no quote.
    EXPECT_EQ(stripStringsAndComments(u"x #\uFE0F\u20E3 y"_s, 0), (Stripped{u"x #\uFE0F\u20E3 y"_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"\"a\"\u0301 -- b\" c"_s, 0), (Stripped{u"\"\" c"_s, 0}));
    EXPECT_EQ(stripStringsAndComments(u"say \"👩‍🔧\" -- x"_s, 0), (Stripped{u"say \"\""_s, 0}));
}

TEST(Matches, SearchesAnywhereWithoutRegardToCase) {
    EXPECT_TRUE(matches(u"if x THEN"_s, u"\\bthen$"_s));
    EXPECT_FALSE(matches(u"lengthen"_s, u"\\bthen$"_s));
    EXPECT_TRUE(matches(u"ÜBER"_s, u"über"_s));
    EXPECT_TRUE(matches(u"to öffnen()"_s, u"^to\\s\\w"_s));
    EXPECT_FALSE(matches(u"endé"_s, u"^end\\b"_s));
    EXPECT_TRUE(matches(u"on\u00A0run"_s, u"^on\\s+run\\b"_s));
}

TEST(Matches, AnExpressionThatIsNoneIsNeverFound) {
    EXPECT_FALSE(matches(u"("_s, u"("_s));
}

TEST(Instrument, AnEmptyScriptStaysEmpty) {
    const auto result = instrument(QString());
    EXPECT_EQ(result.text, QString());
    EXPECT_EQ(result.marked, Lines());
}

TEST(Instrument, PutsAMarkerWithTheSameIndentationBeforeEachStatement) {
    const auto result = instrument(u"beep\n\n \tsay 1\n-- note"_s);
    EXPECT_EQ(result.text, u"tell me to log \"§L1\"\nbeep\n\n \ttell me to log \"§L3\"\n \tsay 1\n-- note"_s);
    EXPECT_EQ(result.marked, Lines({1, 3}));
}

TEST(Instrument, ADelayFollowsEachMarker) {
    EXPECT_EQ(instrument(u"  beep"_s, 0.5).text, u"  tell me to log \"§L1\"\n  tell me to delay 0.5\n  beep"_s);
    EXPECT_EQ(instrument(u"beep"_s, 0).text, u"tell me to log \"§L1\"\nbeep"_s);
    EXPECT_EQ(instrument(u"beep"_s, -1).text, u"tell me to log \"§L1\"\nbeep"_s);
}

TEST(Instrument, ADelayIsTheShortestTextThatReadsBackTheSame) {
    const auto delayText = [](double delay) { return instrument(u"x"_s, delay).text.split(u'\n')[1].sliced(17); };
    EXPECT_EQ(delayText(1), u"1.0"_s);
    EXPECT_EQ(delayText(0.1), u"0.1"_s);
    EXPECT_EQ(delayText(1.0 / 3), u"0.3333333333333333"_s);
    EXPECT_EQ(delayText(100'000), u"100000.0"_s);
    EXPECT_EQ(delayText(0.0001), u"0.0001"_s);
    EXPECT_EQ(delayText(0.00001), u"1e-05"_s);
    EXPECT_EQ(delayText(1e15), u"1000000000000000.0"_s);
    EXPECT_EQ(delayText(1e16), u"1e+16"_s);
}

TEST(Instrument, TopLevelStatementsOfAScriptWithoutARunHandlerAreMarked) {
    EXPECT_EQ(marked(u"set x to 1\non greet()\n  beep\nend greet\ngreet()"_s), Lines({1, 3, 5}));
}

TEST(Instrument, WithARunHandlerOnlyStatementsInHandlersAreMarked) {
    EXPECT_EQ(marked(u"set x to 1\nON  run\n  beep\nend run\nto greet()\n  say 1\nend greet\ngreet()"_s),
              Lines({3, 6}));
}

TEST(Instrument, PartsOfBlocksDeclarationsAndHeadersAreNeverMarked) {
    EXPECT_EQ(marked(u"use AppleScript version \"2.4\"\nproperty p : 1\nprop q : 2\nglobal g"_s), Lines());
    EXPECT_EQ(marked(u"if x then\n  a\nelse if y then\n  b\nelse\n  c\nend if"_s), Lines({1, 2, 4, 6}));
    EXPECT_EQ(marked(u"on greet(x)\nend greet"_s), Lines());
}

TEST(Instrument, TheLineAfterOnErrorIsMarked) {
    EXPECT_EQ(marked(u"try\n  a\non error m\n  b\nend try\nc"_s), Lines({1, 2, 4, 6}));
}

TEST(Instrument, ATellOnOneLineIsMarkedAndOpensNoBlock) {
    EXPECT_EQ(marked(u"tell application \"X\" to activate\nbeep"_s), Lines({1, 2}));
    // Were it a block, the first end would close it, and the last line would still stand in the script object.
    EXPECT_EQ(marked(u"script s\ntell application \"X\" to activate\nend script\nbeep"_s), Lines({4}));
}

TEST(Instrument, ATellBlockIsClosedByItsEnd) {
    EXPECT_EQ(marked(u"tell application \"X\"\n  activate\nend tell\nbeep"_s), Lines({1, 2, 4}));
    EXPECT_EQ(marked(u"script s\ntell application \"X\"\nactivate\nend tell\nproperty p : 1\nx\nend\ny"_s),
              Lines({3, 8}));
}

TEST(Instrument, StatementsDirectlyInAScriptObjectAreNotMarked) {
    EXPECT_EQ(marked(u"script s\n  set x to 1\n  on go()\n    beep\n  end go\nend script\ngo() of s"_s), Lines({4, 7}));
}

TEST(Instrument, AnIfWithItsStatementOnTheLineOpensNoBlock) {
    EXPECT_EQ(marked(u"script s\nif a then b\nend script\nc"_s), Lines({4}));
    EXPECT_EQ(marked(u"script s\nif a then\nb\nend if\nend script\nc"_s), Lines({3, 6}));
}

TEST(Instrument, EveryOtherBlockIsKnown) {
    for (const auto &head : {u"repeat 3 times"_s, u"try"_s, u"considering case"_s, u"ignoring case"_s,
                             u"with timeout of 3 seconds"_s, u"with  transaction"_s, u"Using Terms From app \"X\""_s})
        EXPECT_EQ(marked(u"script s\n"_s + head + u"\nb\nend\nend\nc"_s), Lines({3, 6})) << head.toStdString();
}

TEST(Instrument, LinesOfABlockCommentAreNoStatements) {
    EXPECT_EQ(marked(u"a\n(* b\nc\n(* d *)\ne *)\nf"_s), Lines({1, 6}));
    EXPECT_EQ(marked(u"(* (* *) *)\nf"_s), Lines({2}));
}

TEST(Instrument, AStatementBehindTheEndOfACommentIsNotMarked) {
    EXPECT_EQ(marked(u"(* a\nb *) c\nd"_s), Lines({3}));
}

TEST(Instrument, TheBlockStackMovesForLinesThatStartInAComment) {
    EXPECT_EQ(marked(u"(*\n*) script s\na\nend script\nb"_s), Lines({5}));
}

TEST(Instrument, AContinuedStatementGetsOneMarkerBeforeItsFirstLine) {
    const auto result = instrument(u"\tset x to 1 + ¬\n  2 + ¬ \t\n3\nbeep"_s);
    EXPECT_EQ(result.marked, Lines({1, 4}));
    EXPECT_EQ(result.text,
              u"\ttell me to log \"§L1\"\n\tset x to 1 + ¬\n  2 + ¬ \t\n3\ntell me to log \"§L4\"\nbeep"_s);
}

TEST(Instrument, AContinuedHeadIsReadAsOneLine) {
    EXPECT_EQ(marked(u"script s\ntell ¬\n¬\napplication \"X\" ¬\nto activate\nend script\nc"_s), Lines({7}));
    EXPECT_EQ(marked(u"script s\nif a ¬\nthen\nb\nend\nend\nc"_s), Lines({4, 7}));
}

TEST(Instrument, AContinuationMayBeFollowedByAnEmptyLineOrTheEnd) {
    EXPECT_EQ(marked(u"beep ¬\n\nbeep"_s), Lines({1, 3}));
    EXPECT_EQ(marked(u"beep ¬"_s), Lines({1}));
    EXPECT_EQ(marked(u"beep ¬ -- more\n2"_s), Lines({1}));
}

TEST(Instrument, TheCommentFlagIsThatOfTheLastLineTaken) {
    EXPECT_EQ(marked(u"a (* ¬\n*) b\nc"_s), Lines({1, 3})) << "the sign is in the comment and joins nothing";
    EXPECT_EQ(marked(u"(*\n*) a ¬\nb\nc"_s), Lines({2, 4})) << "begins in a comment, goes on outside";
    EXPECT_EQ(marked(u"(*\n*) a ¬"_s), Lines({2})) << "the end of the script leaves it off";
    EXPECT_EQ(marked(u"a (* *) ¬\nb (*\n*) c ¬\nd"_s), Lines({1, 3}));
}

TEST(Instrument, AnEndTooManyIsHarmless) {
    EXPECT_EQ(marked(u"end\nend tell\nbeep"_s), Lines({3}));
}

TEST(Instrument, WindowsLineEndsDoNotHideABlock) {
    EXPECT_EQ(marked(u"script s\r\nif a then\r\nb\r\nend if\r\nend script\r\nc\r"_s), Lines({3, 6}));
}
