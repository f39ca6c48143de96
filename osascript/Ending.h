// What is done when a signal ends this program (SIGTERM, SIGINT, SIGHUP or SIGQUIT) or stops it (SIGTSTP), as far as
// whoever started it did not want it to ignore that. All of it is to be called by the only thread, or one that started
// all others after the first call.
#pragma once
#include <functional>

namespace ombru {

// Before such an end, a thread of its own does all that was asked for, in that order; meanwhile the other threads go
// on. Then the program ends by the signal, as it would have without.
void beforeEnding(std::function<void()> action);

// What is done around a stop, by the same thread.
struct Rest {
    std::function<void()> begin;     // lets go of what others want, and has nothing go on that would want it
    std::function<bool()> goOn;      // whether that can go on; asked again soon where it cannot
    std::function<void()> goOnToEnd; // instead, when the program ends
};

// Before such a stop, all that was asked for rests; SIGTSTP stays pending until then. It goes on in the reverse order
// once the program was continued, or when nobody has stopped it after all. The clock leaves out the time in between.
void aroundStops(Rest rest);

// Does not return once a signal has come that ends the program: what follows is for a program that goes on.
void stayIfEnding();

} // namespace ombru
