// Lets go of what scripts have left pressed. Main thread.
#pragma once
#include "base/Task.h"

namespace ombru {

// Releases the keys and buttons that programs hold down, whichever script pressed them; nothing where the system has no
// program for it. Returns once that is done, after some moments also when the display does not answer: then it is done
// as soon as that does.
Task<> releaseHeldInput();

} // namespace ombru
