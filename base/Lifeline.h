// What ends a helper (base/Helper.h) with the one that has started it: a pipe that nobody writes to, and that hangs up
// when that one dies, or calls the helper no more. Plain C++.
#pragma once
#include <functional>

namespace ombru {

constexpr int HELPER_LIFELINE = 3; // where the helper finds it

// From now on this program ends with its lifeline: at once, whatever it is doing, and without a word. What it has begun
// elsewhere it takes back in the farewell, which runs on a thread of its own: then it has a second to end by itself.
// False when it has no lifeline, as when somebody types its name, or when that cannot be watched. Once.
bool endWithLifeline(std::function<void()> farewell = {});

} // namespace ombru
