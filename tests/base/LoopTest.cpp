#include "base/Loop.h"

#include "tests/support/Wait.h"

#include <QObject>

#include <gtest/gtest.h>
#include <thread>

using namespace ombru;
using namespace std::chrono_literals;
using test::settle;
using test::waitUntil;

TEST(Loop, JobsFromManyThreadsKeepTheOrderOfEach) {
    constexpr int THREADS = 4;
    constexpr int JOBS = 5000;
    std::vector<std::vector<int>> seen(THREADS);
    Loop::main();
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([&seen, thread] {
                for (int job = 0; job < JOBS; ++job)
                    Loop::main().post([&seen, thread, job] { seen[thread].push_back(job); });
            });
        }
    }
    ASSERT_TRUE(
        waitUntil([&] { return std::ranges::all_of(seen, [](const auto &jobs) { return jobs.size() == JOBS; }); }));
    for (const auto &jobs : seen)
        EXPECT_TRUE(std::ranges::is_sorted(jobs));
}

TEST(Loop, TimersRunInTheOrderOfTheirTimes) {
    ManualClock clock;
    std::vector<int> order;
    const auto late = Loop::main().after(20s, [&] { order.push_back(2); });
    const auto early = Loop::main().after(10s, [&] { order.push_back(1); });
    settle();
    EXPECT_TRUE(order.empty());
    clock.advance(10s);
    settle();
    EXPECT_EQ(order, std::vector{1});
    clock.advance(10s);
    settle();
    EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST(Loop, TimeForWhichTheClockIsHeldCountsForNoTimer) {
    const auto hold = [](std::chrono::milliseconds span) {
        Clock::hold();
        const auto held = Clock::now();
        const auto end = std::chrono::steady_clock::now() + span;
        while (std::chrono::steady_clock::now() < end) // real time, which is what counts for nothing
            ASSERT_EQ(Clock::now(), held);
        Clock::goOn();
    };
    const auto start = Clock::now();
    std::optional<Clock::Time> ran;
    const auto timer = Loop::main().after(200ms, [&] { ran = Clock::now(); });
    hold(150ms);
    hold(150ms);
    EXPECT_TRUE(waitUntil([&] { return ran.has_value(); }));
    EXPECT_GE(*ran - start, 200ms);
    EXPECT_GE(std::chrono::steady_clock::now() - Clock::systemTime(start), 200ms);
}

TEST(Loop, ADroppedTimerNeverRuns) {
    ManualClock clock;
    bool ran = false;
    {
        const auto timer = Loop::main().after(1s, [&] { ran = true; });
        EXPECT_TRUE(timer.pending());
    }
    clock.advance(2s);
    settle();
    EXPECT_FALSE(ran);
}

TEST(Loop, ATimerMayCancelTheNextOneThatIsDue) {
    ManualClock clock;
    bool ran = false;
    Timer second;
    const auto first = Loop::main().after(1s, [&] { second.cancel(); });
    second = Loop::main().after(1s, [&] { ran = true; });
    clock.advance(1s);
    settle();
    EXPECT_FALSE(ran);
}

TEST(Loop, ATimerThatIsDueDoesNotWaitForAllJobsThatCameBefore) {
    ManualClock clock;
    std::vector<int> order;
    const auto timer = Loop::main().after(1s, [&] { order.push_back(2); });
    Loop::main().post([&] {
        order.push_back(1);
        clock.advance(1s);
    });
    Loop::main().post([&] { order.push_back(3); });
    settle();
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(Loop, AnEarlierTimerIsNotHeldUpByALaterOne) {
    bool ran = false;
    const auto late = Loop::main().after(24h, [] {});
    auto cancelled = Loop::main().after(1ms, [] {});
    cancelled.cancel();
    const auto early = Loop::main().after(5ms, [&] { ran = true; });
    EXPECT_TRUE(waitUntil([&] { return ran; }));
}

TEST(Loop, RealTimersRunWithoutHelp) {
    bool ran = false;
    const auto timer = Loop::main().after(5ms, [&] { ran = true; });
    EXPECT_TRUE(waitUntil([&] { return ran; }));
    EXPECT_FALSE(timer.pending());
}

TEST(Loop, ATimerSetWhileTimeStoodStillRunsOnceItGoesOn) {
    bool ran = false;
    Timer timer;
    {
        ManualClock clock;
        timer = Loop::main().after(1ms, [&] { ran = true; });
    }
    EXPECT_TRUE(waitUntil([&] { return ran; }));
}

TEST(Loop, WorkForAnObjectThatIsGoneIsDropped) {
    auto object = std::make_unique<QObject>();
    int ran = 0;
    onMain(object.get(), [&] { ++ran; });
    settle();
    EXPECT_EQ(ran, 1);
    onMain(object.get(), [&] { ++ran; });
    object.reset();
    settle();
    EXPECT_EQ(ran, 1);
}

TEST(Clock, SecondsAreCappedAndNeverNegative) {
    EXPECT_EQ(Clock::seconds(1.5), 1500ms);
    EXPECT_EQ(Clock::seconds(-3), 0s);
    EXPECT_EQ(Clock::seconds(std::nan("")), 0s);
    EXPECT_GT(Clock::seconds(1e300), 24h);
}

TEST(Loop, CancelledTimersDoNotPileUpUntilTheirTime) {
    const auto held = std::make_shared<int>();
    bool ran = false;
    const auto kept = Loop::main().after(24h, [&ran] { ran = true; });
    for (int number = 0; number < 10'000; ++number)
        Loop::main().after(24h * 365, [held] {}).cancel();
    EXPECT_LT(held.use_count(), 1000);
    ManualClock clock;
    clock.advance(24h);
    settle();
    EXPECT_TRUE(ran) << "one that was not cancelled stays";
}
