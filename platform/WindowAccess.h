// Whether this program could show its owner a window. Any thread.
#pragma once
#include "base/Failure.h"

namespace ombru {

// To be asked before there is a graphical application: without a display, making one ends the process. The Failure has
// domain "display" and says what is missing.
Result<> windowsCanBeShown();

} // namespace ombru
