// What ends a helper (base/Helper.h) with the one that has started it: a pipe that nobody writes to, and that hangs up
// when that one dies, or calls the helper no more. Plain C++.
#pragma once

namespace ombru {

constexpr int HELPER_LIFELINE = 3; // where the helper finds it

// From now on this program ends with its lifeline: at once, whatever it is doing, and without a word. False when it has
// none, as when somebody types its name. Once.
bool endWithLifeline();

} // namespace ombru
