// What the keeper and the one that has it keep a program tell each other, each a packet on the lifeline: the socket
// that the keeper finds at LIFELINE. The lifeline's end says that this one has ended, too. Plain C++.
//
//     ombru-keeper FILES AFTERWARDS PROGRAM ARGUMENT...
//
// FILES is how many files the program may have open, 0 for as many as the keeper. AFTERWARDS is a program that runs
// once all has ended after an end that was forced, or empty. What the keeper finds at LIFELINE + 1 and so on, the
// program finds one lower.
#pragma once
#include <cstdint>

namespace ombru::keeper {

constexpr int LIFELINE = 3;

// The program finds here the word that marks what it opens for the owner: base/Program.h.
constexpr const char *WORD_VARIABLE = "OMBRU_KEEPER";

// From the one that keeps, what the program and all that it started are to do.
//  * end: asked now and killed after the grace. The earliest end counts.
//  * stop, until goOn: but for what works for others. One that blocks SIGTSTP gets a moment by that, in which to let go
//    of what others want.
struct Wish {
    enum class For : std::uint32_t { end, stop, goOn } what = For::end;
    std::uint32_t graceMilliseconds = 0;
};

// From the keeper, once all are stopped.
constexpr const char *STOPPED = "stopped\n";
constexpr std::uint32_t LETTING_GO_MILLISECONDS = 3000; // what that moment lasts at most

// From the keeper, once: whether the program runs.
struct Started {
    std::int32_t process = 0; // also its session; 0 when it does not run
    std::int32_t error = 0;   // errno
};

// The keeper's last packet: this, and behind it what is left running, a line each: what the program, which ended by
// itself, has left, or what could not be ended, because it is another user's.
// Then the keeper ends as the program did. Without the packet the keeper was killed.
constexpr const char *FAREWELL = "ended\n";

// A program that nobody waits for any more is asked all the same.
constexpr std::uint32_t BRIEF_MILLISECONDS = 300;

} // namespace ombru::keeper
