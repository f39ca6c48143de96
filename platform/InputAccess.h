// Whether this program may use the owner's keyboard and pointer. Any thread but the main one: the system may take its
// time.
#pragma once

namespace ombru {

// Asks nobody. False also when nothing here could press a key.
bool inputAllowed();

// Lets the system ask the owner, where it does that; whether it is allowed now.
bool requestInput();

} // namespace ombru
