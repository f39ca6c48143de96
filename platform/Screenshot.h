// What is on the owner's screen: the primary monitor, without the pointer.
// Any thread; blocks while the system answers (milliseconds), so not on the main thread.
#pragma once
#include "base/Failure.h"
#include "base/Picture.h"

#include <QSize>

namespace ombru {

// The primary monitor as it is now, made smaller or larger so that its longer side has that many pixels (at least 1).
// The Failure (domain "screenshot" or "display") says why there is none: no display, one that went away, one that may
// not be read.
Result<Picture> takeScreenshot(int longerSide);

// The primary monitor's size in the coordinates that a script clicks in; empty when there is no display.
QSize screenSize();

} // namespace ombru
