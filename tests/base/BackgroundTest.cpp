#include "base/Background.h"

#include "tests/support/Wait.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace ombru;

TEST(Background, RunsElsewhereAndResumesOnTheMainThread) {
    const auto here = std::this_thread::get_id();
    const auto there = test::await(background([] { return std::this_thread::get_id(); }));
    EXPECT_NE(here, there);
    EXPECT_EQ(here, std::this_thread::get_id());
}

TEST(Background, CarriesMoveOnlyValuesBothWays) {
    auto number = std::make_unique<int>(20);
    const auto doubled =
        test::await(background([number = std::move(number)] { return std::make_unique<int>(*number * 2); }));
    EXPECT_EQ(*doubled, 40);
}

TEST(Background, ManyJobsAllRun) {
    const auto sum = std::make_shared<std::atomic<int>>(0);
    std::vector<Task<>> tasks;
    for (int job = 0; job < 200; ++job)
        tasks.push_back(background([sum] { ++*sum; }));
    for (auto &task : tasks)
        test::await(std::move(task));
    EXPECT_EQ(*sum, 200);
}

TEST(Background, AJobThatTakesTooLongIsLeftToItself) {
    ManualClock clock;
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto begun = std::make_shared<std::atomic<int>>(0);
    const auto job = [release, begun] {
        ++*begun;
        release->wait(false);
        return 1;
    };
    std::stop_source stop;
    auto late = backgroundWithin(std::chrono::seconds(5), {}, job);
    auto stopped = backgroundWithin(std::chrono::hours(5), stop.get_token(), job);
    ASSERT_TRUE(test::waitUntil([&] { return *begun == 2; }));
    clock.advance(std::chrono::seconds(5));
    EXPECT_EQ(test::await(std::move(late)), std::nullopt);
    stop.request_stop();
    EXPECT_EQ(test::await(std::move(stopped)), std::nullopt);
    EXPECT_FALSE(finishBackground(std::chrono::milliseconds(1)));
    *release = true;
    release->notify_all();
    EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
    EXPECT_EQ(test::await(backgroundWithin(std::chrono::seconds(5), {}, [] { return 7; })), 7);
}

TEST(Background, ABlockedJobDoesNotHoldUpTheNext) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    auto blocked = background([release] { release->wait(false); });
    EXPECT_EQ(test::await(background([] { return 7; })), 7);
    *release = true;
    release->notify_all();
    test::await(std::move(blocked));
}

TEST(Background, JobsThatMayWaitLongKeepNoThreadOfThePool) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    std::vector<Task<std::optional<int>>> waiting;
    for (int count = 0; count < 10; ++count)
        waiting.push_back(backgroundWithin(std::chrono::minutes(1), {}, [release] {
            release->wait(false);
            return 1;
        }));
    EXPECT_EQ(test::await(background([] { return 7; })), 7);
    *release = true;
    release->notify_all();
    for (auto &job : waiting)
        EXPECT_EQ(test::await(std::move(job)), 1);
}

TEST(Background, NoJobBeginsAfterAStop) {
    std::stop_source stop;
    stop.request_stop();
    const auto ran = std::make_shared<std::atomic<bool>>(false);
    const auto value = test::await(backgroundWithin(std::chrono::minutes(1), stop.get_token(), [ran] {
        *ran = true;
        return 1;
    }));
    EXPECT_FALSE(value);
    ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    EXPECT_FALSE(*ran);
}

TEST(Background, OnlySoManyJobsWaitAtOnceAndOneThatWasGivenUpBeforeNeverBegins) {
    ManualClock clock;
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto begun = std::make_shared<std::atomic<int>>(0);
    std::vector<Task<std::optional<int>>> waiting;
    for (int count = 0; count < 100; ++count)
        waiting.push_back(backgroundWithin(std::chrono::minutes(1), {}, [release, begun] {
            ++*begun;
            release->wait(false);
            return 1;
        }));
    ASSERT_TRUE(test::waitUntil([&] { return *begun == 32; }));
    clock.advance(std::chrono::minutes(1));
    for (auto &job : waiting)
        EXPECT_EQ(test::await(std::move(job)), std::nullopt);
    auto next = backgroundWithin(std::chrono::minutes(1), {}, [] { return 7; });
    *release = true;
    release->notify_all();
    EXPECT_EQ(test::await(std::move(next)), 7) << "once others have ended";
    EXPECT_EQ(*begun, 32);
}

TEST(Background, AJobThatIsStoppedIsNotWaitedFor) {
    std::stop_source stop;
    const auto release = std::make_shared<std::atomic<bool>>(false);
    auto stopped = backgroundUntil(stop.get_token(), [release] {
        release->wait(false);
        return 1;
    });
    EXPECT_EQ(test::await(backgroundUntil(stop.get_token(), [] { return 7; })), 7);
    stop.request_stop();
    EXPECT_EQ(test::await(std::move(stopped)), std::nullopt);
    *release = true;
    release->notify_all();
}

TEST(Background, AnInquiryBringsTheAnswerFromAnotherThread) {
    const Inquiry inquiry;
    const auto there = inquiry.ask(std::chrono::minutes(1), [] { return std::this_thread::get_id(); });
    ASSERT_TRUE(there);
    EXPECT_NE(*there, std::this_thread::get_id());
}

TEST(Background, AnInquiryThatIsNeverAnsweredIsGivenUpAndHoldsOneThread) {
    const Inquiry inquiry;
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto put = std::make_shared<std::atomic<int>>(0);
    const auto question = [release, put] {
        ++*put;
        release->wait(false);
        return 1;
    };
    EXPECT_EQ(inquiry.ask(std::chrono::milliseconds(50), question), std::nullopt);
    EXPECT_EQ(inquiry.ask(std::chrono::milliseconds(50), question), std::nullopt);
    EXPECT_EQ(*put, 1);
    EXPECT_FALSE(finishBackground(std::chrono::milliseconds(1)));
    *release = true;
    release->notify_all();
    EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
    EXPECT_EQ(inquiry.ask(std::chrono::minutes(1), question), 1);
}
