#include "voice/ShareWords.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(ShareWords, WhatAsksForTheSound) {
    for (const auto &text : {u"share the audio"_s, u"Please PLAY some music."_s, u"stream the sound"_s, u"send audio"_s,
                             u"turn on the computer"_s})
        EXPECT_TRUE(asksToShare(text)) << text.toStdString();
    for (const auto &text :
         {u"audio share"_s, u"replay the music"_s, u"play the musical"_s, u"open the browser"_s, u""_s})
        EXPECT_FALSE(asksToShare(text)) << text.toStdString();
}

TEST(ShareWords, WhatAsksForItsEnd) {
    for (const auto &text : {u"please stop sharing the audio"_s, u"Stop sharing"_s, u"cancel the sound"_s,
                             u"turn off the music"_s, u"quit shared things"_s, u"end audio"_s})
        EXPECT_TRUE(asksToStopSharing(text)) << text.toStdString();
    for (const auto &text : {u"sharing, stop"_s, u"stop the computer"_s, u"unstop sharing"_s, u"stop"_s})
        EXPECT_FALSE(asksToStopSharing(text)) << text.toStdString();
}

TEST(ShareWords, ATextMayAskForBoth) {
    EXPECT_TRUE(asksToShare(u"play the music and stop the sound"_s));
    EXPECT_TRUE(asksToStopSharing(u"play the music and stop the sound"_s));
}
