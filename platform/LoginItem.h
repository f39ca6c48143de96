// Whether this application starts when its owner logs in. Not on the main thread; Failures have domain "login".
#pragma once
#include "base/Failure.h"

#include <QString>

namespace ombru {

// From now on it does. What the owner has said about it already, in the system's own way, stays.
Result<> registerLoginItem();

// Has what the owner left registered start this program, where the one that it names is there no more (it was moved, or
// installed since). What was removed stays removed.
Result<> repairLoginItem();

// Full path of the file that says so; need not be there. Any thread.
QString loginItemPath();

} // namespace ombru
