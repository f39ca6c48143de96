#include "voice/Playout.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace ombru;

namespace {

Samples run(std::size_t count, int first, int step = 0) {
    Samples samples(count);
    for (std::size_t place = 0; place < count; ++place)
        samples[place] = static_cast<std::int16_t>(first + static_cast<int>(place) * step);
    return samples;
}

} // namespace

TEST(Playout, WithNothingToHearThereIsNoFrame) {
    Playout playout;
    EXPECT_FALSE(playout.nextFrame());
    playout.addSpeech({});
    EXPECT_FALSE(playout.hasSpeech());
    EXPECT_FALSE(playout.nextFrame());
}

TEST(Playout, SpeechComesInFramesAndSilenceFillsTheLast) {
    Playout playout;
    playout.addSpeech(run(200, 1, 1));
    EXPECT_TRUE(playout.hasSpeech());
    const auto first = playout.nextFrame();
    ASSERT_TRUE(first);
    EXPECT_TRUE(std::ranges::equal(*first, run(160, 1, 1)));
    const auto second = playout.nextFrame();
    ASSERT_TRUE(second);
    EXPECT_TRUE(std::ranges::equal(std::span(*second).first(40), run(40, 161, 1)));
    EXPECT_TRUE(std::ranges::equal(std::span(*second).subspan(40), run(120, 0)));
    EXPECT_FALSE(playout.hasSpeech());
    EXPECT_FALSE(playout.nextFrame());
}

TEST(Playout, SharedSoundComesInWholeFramesAndAtFullLevel) {
    Playout playout;
    playout.addShared(run(159, -7));
    EXPECT_FALSE(playout.nextFrame());
    playout.addShared(run(2, -7));
    const auto frame = playout.nextFrame();
    ASSERT_TRUE(frame);
    EXPECT_TRUE(std::ranges::equal(*frame, run(160, -7)));
    EXPECT_FALSE(playout.nextFrame());
}

TEST(Playout, BeneathSpeechSharedSoundIsQuieterAndTruncatedTowardsZero) {
    Playout playout;
    playout.addSpeech(run(100, 1000));
    playout.addShared(run(80, 101));
    playout.addShared(run(80, -101));
    const auto frame = playout.nextFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ((*frame)[0], 1035);  // 35.35
    EXPECT_EQ((*frame)[99], 965);  // -35.35
    EXPECT_EQ((*frame)[100], -35); // past the speech, in the same frame
    EXPECT_EQ((*frame)[159], -35);
}

TEST(Playout, TheSumStaysWithinWhatASampleHolds) {
    Playout playout;
    playout.addSpeech(run(80, 32000));
    playout.addSpeech(run(80, -32000));
    playout.addShared(run(80, 32000));
    playout.addShared(run(80, -32000));
    const auto frame = playout.nextFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ((*frame)[0], 32767);
    EXPECT_EQ((*frame)[159], -32768);
}

TEST(Playout, OfTheSharedSoundTheNewestHalfSecondIsKept) {
    Playout playout;
    playout.addShared(run(3000, 1));
    playout.addShared(run(2000, 2));
    int frames = 0;
    int older = 0;
    while (const auto frame = playout.nextFrame()) {
        ++frames;
        older += static_cast<int>(std::ranges::count(*frame, 1));
    }
    EXPECT_EQ(frames, 25);
    EXPECT_EQ(older, 2000);
}

TEST(Playout, WhatIsClearedIsNotHeard) {
    Playout playout;
    playout.addSpeech(run(500, 1));
    playout.addShared(run(500, 1));
    playout.nextFrame();
    playout.clearSpeech();
    EXPECT_FALSE(playout.hasSpeech());
    playout.clearShared();
    EXPECT_FALSE(playout.nextFrame());
}

TEST(Playout, NothingIsLostOrDoubledInALongTalk) {
    Playout playout;
    int added = 0;
    int next = 0;
    for (int turn = 0; turn < 3000; ++turn) {
        const auto count = static_cast<std::size_t>(turn % 7 * 50); // on the whole a little less than is taken
        Samples samples(count);
        std::ranges::generate(samples, [&] { return static_cast<std::int16_t>(1 + added++ % 30000); });
        playout.addSpeech(samples);
        if (const auto frame = playout.nextFrame())
            for (const auto sample : *frame)
                if (sample != 0) // silence is none of ours
                    ASSERT_EQ(sample, 1 + next++ % 30000);
    }
    EXPECT_EQ(next, added);
}
