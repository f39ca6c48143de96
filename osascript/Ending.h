// What is done when a signal ends this program: SIGTERM, SIGINT, SIGHUP or SIGQUIT, as far as whoever started it did
// not want it to outlive that one.
#pragma once
#include <functional>

namespace ombru {

// Before such an end, a thread of its own does all that was asked for, in that order; meanwhile the other threads go
// on. Then the program ends by the signal, as it would have without. To be called by the only thread, or one that
// started all others after the first call.
void beforeEnding(std::function<void()> action);

// Does not return once such a signal has come: what follows is for a program that goes on.
void stayIfEnding();

} // namespace ombru
