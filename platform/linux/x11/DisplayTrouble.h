// Why there is no connection to the X server, in words for the owner. Asks the server without the authority of the
// owner's programs, and without anything on standard error. Blocks for some seconds at most; any thread.
#pragma once
#include "base/Failure.h"

namespace ombru {

// Of the display that a connection to has just failed, with that error of the library.
Failure displayTrouble(const QByteArray &name, int error);

// Whether the display is there and shut to programs without authority.
bool isShutToStrangers(const QByteArray &name);

} // namespace ombru
