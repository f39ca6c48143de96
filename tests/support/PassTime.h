// Letting a stopped clock go on.
#pragma once
#include "base/Background.h"
#include "tests/support/Wait.h"

namespace ombru::test {

// Moves the clock on in steps of 10 ms until the condition holds; false when it never does. Work in the background gets
// a thread before each step: on a busy machine its limits would pass otherwise while it waits for one.
template <class Condition>
bool passTimeUntil(ManualClock &clock, Condition condition) {
    return waitUntil([&] {
        await(background([] {}));
        clock.advance(std::chrono::milliseconds(10));
        return condition();
    });
}

} // namespace ombru::test
