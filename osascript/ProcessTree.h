// A child process and what it has started. Any thread.
#pragma once
#include <sys/types.h>

namespace ombru {

// Ends the child, and what it and its own children have running in this program's process group: asks, and kills what
// is there a second later. Returns once they have ended; the child is left to be waited for.
void endTree(pid_t child);

} // namespace ombru
