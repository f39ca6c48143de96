#include "voice/FrameClock.h"

#include "tests/support/Wait.h"

#include <atomic>

using namespace ombru;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

class FrameClockTest : public testing::Test {
protected:
    FrameClockTest() {
        clock = queue.make<std::unique_ptr<FrameClock>>(std::make_unique<FrameClock>(queue, 20ms, [this] { ++beats; }));
        onQueue([this] { (*clock)->start(); });
    }
    ~FrameClockTest() override {
        onQueue([this] { clock->reset(); });
    }
    void onQueue(Job job) {
        std::atomic<bool> done = false;
        queue.post([&] {
            job();
            done = true;
        });
        ASSERT_TRUE(waitUntil([&] { return done.load(); }));
    }
    bool becomes(int count) {
        const bool became = waitUntil([&] { return beats >= count; });
        onQueue([] {});
        return became && beats == count;
    }

    ManualClock time;
    SerialQueue queue{"test"};
    std::atomic<int> beats = 0;
    std::shared_ptr<std::unique_ptr<FrameClock>> clock;
};

} // namespace

TEST_F(FrameClockTest, BeatsAtOnceAndThenOnItsGrid) {
    EXPECT_TRUE(becomes(1));
    time.advance(19ms);
    EXPECT_TRUE(becomes(1));
    time.advance(1ms);
    EXPECT_TRUE(becomes(2));
}

TEST_F(FrameClockTest, TheFirstBeatComesBehindWhatHasStartedIt) {
    EXPECT_TRUE(becomes(1));
    onQueue([this] {
        (*clock)->stop();
        (*clock)->start();
        EXPECT_EQ(beats, 1);
    });
    EXPECT_TRUE(becomes(2));
}

TEST_F(FrameClockTest, ALateBeatMakesNoLaterOnesLate) {
    EXPECT_TRUE(becomes(1));
    time.advance(35ms);
    EXPECT_TRUE(becomes(2));
    time.advance(5ms); // at 40
    EXPECT_TRUE(becomes(3));
}

TEST_F(FrameClockTest, MissedBeatsAreMadeUpFor) {
    EXPECT_TRUE(becomes(1));
    time.advance(990ms);
    EXPECT_TRUE(becomes(50));
    time.advance(10ms);
    EXPECT_TRUE(becomes(51));
}

TEST_F(FrameClockTest, AfterALongSleepFiftyAreMadeUpForAndANewGridBegins) {
    EXPECT_TRUE(becomes(1));
    time.advance(60s + 7ms);
    EXPECT_TRUE(becomes(51));
    time.advance(19ms);
    EXPECT_TRUE(becomes(51));
    time.advance(1ms);
    EXPECT_TRUE(becomes(52));
}

TEST_F(FrameClockTest, AfterAStopThereIsNoBeat) {
    EXPECT_TRUE(becomes(1));
    onQueue([this] { (*clock)->stop(); });
    time.advance(1s);
    EXPECT_TRUE(becomes(1));
}
