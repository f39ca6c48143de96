// Whether this program may look at the owner's screen. Any thread but the main one: the system may take its time.
#pragma once

namespace ombru {

// Asks nobody. False also when there is no screen, or nothing here that could show one.
bool screenCaptureAllowed();

// Lets the system ask the owner, where it does that; whether it is allowed now.
bool requestScreenCapture();

} // namespace ombru
