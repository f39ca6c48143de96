// Waiting for what nobody reports: by looking again and again. Blocks its thread.
#pragma once
#include <chrono>
#include <thread>

namespace ombru {

// Looks until the condition holds; false when the time is over.
template <class Condition>
bool waitUntil(std::chrono::steady_clock::time_point end, Condition condition) {
    constexpr auto GLANCE = std::chrono::milliseconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(GLANCE);
    }
    return true;
}

} // namespace ombru
