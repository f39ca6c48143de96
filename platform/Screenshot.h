// What is on the owner's screen: the primary monitor, without the pointer.
// Any thread but the main one: blocks while the system answers, which takes milliseconds where the screen can be read
// and some seconds where the system asks the owner first.
#pragma once
#include "base/Failure.h"
#include "picture/Picture.h"

#include <QSize>

namespace ombru {

struct Screenshot {
    Picture picture;
    // The primary monitor's size in the coordinates that a script clicks in; where nothing tells those, the size of the
    // picture before it was scaled. Never empty.
    QSize points;
};

// The primary monitor as it is now, made smaller or larger so that its longer side has that many pixels (at least 1).
// The Failure (domain "screenshot" or "display") says why there is none: no display, one that went away, one that may
// not be read.
Result<Screenshot> takeScreenshot(int longerSide);

} // namespace ombru
