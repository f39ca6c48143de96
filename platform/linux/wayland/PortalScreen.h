// The screen of a Wayland session, which only the desktop portal shows. Any thread but the main one.
#pragma once
#include "base/Failure.h"
#include "picture/Picture.h"

#include <chrono>

namespace ombru {

// Whether the owner has agreed, as far as the portal remembers. One that remembers nothing is believed when it has
// shown this program the screen before. Asks nobody.
bool portalShowsScreen();

// Has the portal ask the owner, unless it remembers. Whether it shows the screen now. Waits as long as `limit`.
bool requestPortalScreen(std::chrono::nanoseconds limit);

// All monitors in one picture. Waits for the owner where the portal asks, as long as `limit`. A Failure of the
// portal's, or one with domain "screenshot" when what it gave is no picture; either is one sentence about what
// happened.
Result<Picture> portalPicture(std::chrono::nanoseconds limit);

// What the owner can do about a Failure of portalPicture().
QString portalPictureRemedy(const Failure &failure);

} // namespace ombru
