#include "base/OnceATurn.h"

#include "tests/support/Wait.h"

#include <optional>

using namespace ombru;
using test::settle;

TEST(OnceATurn, RunsOnceForAllThatIsAskedInATurn) {
    Loop::main();
    int runs = 0;
    OnceATurn once([&runs] { ++runs; });
    for (int time = 0; time < 3; ++time)
        once.ask();
    EXPECT_EQ(runs, 0) << "not before the turn is over";
    settle();
    EXPECT_EQ(runs, 1);
    once.ask();
    settle();
    EXPECT_EQ(runs, 2);
}

TEST(OnceATurn, WhatIsAskedWhileItRunsComesInTheNextTurn) {
    Loop::main();
    int runs = 0;
    std::optional<OnceATurn> once;
    once.emplace([&] {
        if (++runs == 1)
            once->ask();
    });
    once->ask();
    settle();
    EXPECT_EQ(runs, 2);
}

TEST(OnceATurn, WhatWasAskedEndsWithIt) {
    Loop::main();
    int runs = 0;
    {
        OnceATurn once([&runs] { ++runs; });
        once.ask();
    }
    settle();
    EXPECT_EQ(runs, 0);
}
