#include "base/Task.h"

#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace std::chrono_literals;
using test::settle;

namespace {

Task<> sleepAndCount(std::shared_ptr<int> ended, std::stop_token stop) {
    co_await sleep(1h, stop);
    ++*ended;
}

Task<> fireAfterWaiting(std::shared_ptr<Completion> completion, std::shared_ptr<bool> resumed) {
    co_await *completion;
    *resumed = true;
}

} // namespace

TEST(Task, SleepEndsWhenItsTimeHasPassed) {
    ManualClock clock;
    const auto ended = std::make_shared<int>(0);
    const auto task = sleepAndCount(ended, {});
    clock.advance(59min);
    settle();
    EXPECT_EQ(*ended, 0);
    clock.advance(1min);
    settle();
    EXPECT_EQ(*ended, 1);
}

TEST(Task, SleepEndsAtOnceWhenAStopIsAskedFor) {
    ManualClock clock;
    std::stop_source stop;
    const auto ended = std::make_shared<int>(0);
    const auto task = sleepAndCount(ended, stop.get_token());
    stop.request_stop();
    EXPECT_EQ(*ended, 0) << "the sleeper resumes from the event loop, not inside the request";
    settle();
    EXPECT_EQ(*ended, 1);
}

TEST(Task, SleepOfAScopeThatWasStoppedBeforeEndsToo) {
    std::stop_source stop;
    stop.request_stop();
    test::await(sleep(1h, stop.get_token()));
}

TEST(Completion, ResumesItsWaiterFromTheLoop) {
    const auto completion = std::make_shared<Completion>();
    const auto resumed = std::make_shared<bool>(false);
    const auto task = fireAfterWaiting(completion, resumed);
    completion->fire();
    completion->fire();
    EXPECT_FALSE(*resumed);
    settle();
    EXPECT_TRUE(*resumed);
}

TEST(Completion, CanBeFiredBeforeAnybodyWaits) {
    const auto completion = std::make_shared<Completion>();
    completion->fire();
    const auto resumed = std::make_shared<bool>(false);
    const auto task = fireAfterWaiting(completion, resumed);
    settle();
    EXPECT_TRUE(*resumed);
}

TEST(TaskScope, DrainStopsAndWaitsForEveryTask) {
    const auto ended = std::make_shared<int>(0);
    TaskScope scope;
    for (int task = 0; task < 3; ++task)
        scope.start(sleepAndCount(ended, scope.token()));
    EXPECT_EQ(scope.running(), 3);
    test::await(scope.drain());
    EXPECT_EQ(scope.running(), 0);
    EXPECT_EQ(*ended, 3);
}

TEST(TaskScope, DrainOfNothingEndsAtOnce) {
    TaskScope scope;
    test::await(scope.drain());
}
