// The mark by which a script is known for the application's own: a socket that the application made and hands down. The
// system says who made it, so it cannot be claimed, only inherited: by osascript, by the shells of its `do shell
// script`, and by what they start unless that closes it. Any thread.
#pragma once
#include <optional>
#include <sys/types.h>

namespace ombru {

// For the application: the end to hand down, made once and open until the program ends. -1: it could not be made.
int scriptMark();

struct InheritedMark {
    int descriptor = -1;
    pid_t maker = 0; // of this process's kind of numbers; it may have ended
};

// For what may run below it. No other socket of ours that is inherited sends datagrams.
std::optional<InheritedMark> inheritedMark();

} // namespace ombru
