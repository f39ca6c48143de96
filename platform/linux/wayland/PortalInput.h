// The keyboard and pointer of a Wayland session, which programs use through the desktop portal once the owner has
// agreed. Any thread but the main one.
#pragma once
#include <QString>

#include <chrono>

namespace ombru {

// Whether the owner has agreed: what the portal gave for that is kept among the owner's secrets. Asks nobody.
bool portalTakesInput();

// Has the portal ask the owner, unless it remembers, and keeps what it gives; a refusal takes that away. Whether the
// owner has agreed now. Waits for the owner as long as `limit`.
bool requestPortalInput(std::chrono::nanoseconds limit);

// What the owner has to do before the portal can be asked at all; empty when it can.
QString portalInputRemedy();

} // namespace ombru
