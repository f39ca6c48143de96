// Whether this program belongs to a session with a display, whatever its own environment says: then the owner is asked
// there, since a terminal may be one that a program has made and types on. Read from /proc. Any thread.
#pragma once
#include <QString>

namespace ombru {

// Whether anything above it was started with a display, or is the owner's and may not be looked at, but for what a
// login over the network looks like: such a process right below one of the system's.
bool isBelowADisplay();
bool isBelowADisplay(const QString &processes, qint64 pid); // in a directory in the form of /proc

} // namespace ombru
