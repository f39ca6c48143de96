// The programs that see to the end of what was started: base/Process.h, and base/KeeperWire.h where there is one. Any
// thread.
#pragma once
#include <QString>

namespace ombru {

// Full path of the keeper; empty where the system has none.
QString keeperPath();

// Full path of the program that releases the keys and buttons which other programs hold down, and ends; empty where
// there is none. For after a script that had no time to do it, and after a task that was stopped.
QString inputReleasePath();

} // namespace ombru
