// Questions to the owner on the terminal that a command was started from. Main thread.
#pragma once
#include "app/cli/Terminal.h"
#include "base/Task.h"

namespace ombru {

// Whether somebody can answer there: it is a terminal in both directions, and this program is in front of it.
bool canAsk(const Terminal &terminal);

// Waits for the owner's line. False for anything but "y" and "yes", at the end of the input, and after a stop. What was
// typed before the question was shown does not count. `terminal` outlives the task.
Task<bool> ask(Terminal *terminal, QString question, std::stop_token stop);

} // namespace ombru
