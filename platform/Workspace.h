// What the owner's desktop opens for us. What is opened is the owner's from then on: it lives in a session of its own
// and no cancel, time-out or end of this program ends it. Any thread.
#pragma once
#include "base/Failure.h"

#include <QString>

namespace ombru {

// Runs the executable file `commandFile` (full path) in a window of the desktop's terminal. Returns once the terminal's
// program runs. The Failure (domain "workspace") says what stood in the way, and the command to type instead.
Result<> openInTerminal(const QString &commandFile);

} // namespace ombru
