// Whether a service of the session bus can be had. Blocks; any thread.
#pragma once
#include <chrono>

namespace ombru {

// It runs, or the bus starts it when it is wanted. False as well without a bus, or when the bus is silent that long.
bool sessionServiceIsThere(const char *name, std::chrono::nanoseconds limit);

} // namespace ombru
