// What every program of ours does first in main(), so that all start children and hear of their end in one way,
// whatever the one that started it has left behind. Thread: before any other, once.
#pragma once

namespace ombru {

// From here on children leave their status, also under a parent that ignores SIGCHLD, which is inherited; writing to a
// reader that has gone is an error and not the program's end; and each standard stream is open, so that no file or pipe
// of ours gets the number of one.
void beginProgram();

} // namespace ombru
