// Waiting for what nobody reports: by looking again and again. Blocks its thread.
#pragma once
#include "base/Clock.h"

#include <thread>

namespace ombru {

// Looks until the condition holds; false when the time is over.
template <class Condition>
bool waitUntil(Clock::Time end, Condition condition) {
    constexpr auto GLANCE = std::chrono::milliseconds(30);
    while (!condition()) {
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(GLANCE);
    }
    return true;
}

} // namespace ombru
