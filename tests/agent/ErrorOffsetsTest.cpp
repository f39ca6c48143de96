#include "agent/AppleScriptRunner.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using AppleScriptRunner::remapErrorOffsets;

TEST(ErrorOffsets, AreMovedBackByTheMarkerLinesBeforeThem) {
    const auto script = u"tell me to log \"§L1\"\nerror \"no\" number 7"_s;
    EXPECT_EQ(remapErrorOffsets(u"25:30: execution error: no (7)"_s, script), u"4:9: execution error: no (7)"_s);
}

TEST(ErrorOffsets, CountThePauseLinesToo) {
    const auto script = u"\ttell me to log \"§L1\"\n\ttell me to delay 0.5\n\tbeep"_s;
    EXPECT_EQ(remapErrorOffsets(u"46:49: x"_s, script), u"2:5: x"_s);
}

TEST(ErrorOffsets, CountAPauseWrittenWithAnExponentToo) {
    const auto script = u"tell me to log \"§L1\"\ntell me to delay 1e-05\nbeep"_s;
    EXPECT_EQ(remapErrorOffsets(u"44:48: x"_s, script), u"0:4: x"_s);
}

TEST(ErrorOffsets, StayInAScriptWithoutMarkerLines) {
    const auto text = u"0:10: syntax error: x\n12:13: y"_s;
    EXPECT_EQ(remapErrorOffsets(text, u"one\ntwo\nthree"_s), text);
}

TEST(ErrorOffsets, AllPrefixesOnAllLinesAreMapped) {
    const auto script = u"tell me to log \"§L1\"\nfirst\ntell me to log \"§L2\"\nsecond"_s;
    EXPECT_EQ(remapErrorOffsets(u"22:26: a\nb 21:26: c\n49:54: d\n"_s, script), u"1:5: a\nb 21:26: c\n7:12: d\n"_s);
}

TEST(ErrorOffsets, LengthsAreOfCodePoints) {
    // The rocket is one character for the tool and two code units for us.
    const auto script = u"tell me to log \"§L1\"\nsay \"🚀🚀\"\ntell me to log \"§L2\"\nboom"_s;
    EXPECT_EQ(remapErrorOffsets(u"52:55: x"_s, script), u"10:13: x"_s);
}

TEST(ErrorOffsets, APositionPastTheEndLosesAllMarkerLines) {
    EXPECT_EQ(remapErrorOffsets(u"900:901: x"_s, u"tell me to log \"§L1\"\nbeep"_s), u"879:880: x"_s);
}

TEST(ErrorOffsets, NumbersTooLargeToReadAreLeftAlone) {
    const auto text = u"99999999999999999999:3: x"_s;
    EXPECT_EQ(remapErrorOffsets(text, u"tell me to log \"§L1\"\nbeep"_s), text);
}

TEST(ErrorOffsets, WhatAScriptLoggedComesBackAsItWasWritten) {
    const auto text = u"09:05: lunch\n12:007: x\n13:00: nap\n0:4: execution error: no (7)"_s;
    EXPECT_EQ(remapErrorOffsets(text, u"beep"_s), text);
}

TEST(ErrorOffsets, OnlyWholeMarkerLinesCount) {
    // The first line is the user's own; the second is a marker in any case.
    const auto script = u"tell me to log \"§L1\" & x\nTELL ME TO LOG \"§L2\"\nbeep"_s;
    EXPECT_EQ(remapErrorOffsets(u"47:50: x"_s, script), u"26:29: x"_s);
}

TEST(ErrorOffsets, AnEmptyTextStaysEmpty) {
    EXPECT_EQ(remapErrorOffsets({}, u"beep"_s), QString());
}
