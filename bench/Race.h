// Two or more ways to do the same thing, timed in turns in the same run, so that whatever else the machine does falls
// on all of them alike. Prints a table: the ratio first, then the times.
#pragma once
#include <functional>
#include <string>
#include <vector>

namespace ombru::bench {

struct Contestant {
    std::string name;
    std::function<void()> run; // one round; ends the program when it fails
    double aim = 0;            // ours should be this many times as fast; 0 for no aim
};

// The first one is ours. `rounds` counts those that are timed, after one that is not.
void race(const std::string &title, int rounds, const std::vector<Contestant> &contestants);

// Ends the program with a message.
[[noreturn]] void fail(const std::string &what);

} // namespace ombru::bench
