// The X server's way of taking keys and clicks from programs, XTEST. Any thread; blocks while the server answers.
#pragma once
#include "platform/linux/x11/Display.h"

namespace ombru {

// Whether the server has the extension and answers for it.
bool hasTestExtension(const Display &display);

} // namespace ombru
