// The mouse, through XTEST. One thread.
#pragma once
#include "applescript/host/Input.h"
#include "osascript/desktop/Aim.h"

namespace ombru {

// `at` has its origin at the primary monitor; other monitors have coordinates too. A Failure outside all of them.
Result<> clickAt(X11 &x11, Aim &aim, QPoint at, applescript::Click click);

} // namespace ombru
