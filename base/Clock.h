// The one source of time for everything that waits: settle, linger, limits, back-off. Any thread.
#pragma once
#include <chrono>

namespace ombru {

namespace Clock {
using Time = std::chrono::steady_clock::time_point;
using Duration = std::chrono::steady_clock::duration;

Time now();
double unixSeconds();           // seconds since 1970, with fractions
Duration seconds(double count); // rounded up to the clock's tick; huge counts are capped at a hundred years
double secondsSince(Time start);
bool stopped(); // a ManualClock lives, or the clock is held

// The system's steady clock at that time, for what waits by it; it has run on while this one was held.
Time systemTime(Time time);

// For a program that is stopped for a while: the time until goOn() counts for nothing. In turns, by one thread.
void hold();
void goOn();
} // namespace Clock

// While one lives, time stands still and every timer waits for advance(). Main thread; at most one at a time.
class ManualClock {
public:
    ManualClock();
    ~ManualClock();
    ManualClock(const ManualClock &) = delete;
    ManualClock &operator=(const ManualClock &) = delete;

    // Timers that fall due run from the event loop, in the order of their times.
    void advance(Clock::Duration duration);
};

} // namespace ombru
