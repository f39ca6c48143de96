// Whether this is a Wayland session, where programs see the screen and send keys only through the desktop portal. Any
// thread; blocks while the X server answers, where only that can tell.
#pragma once
#include "base/Background.h"

namespace ombru {

// X11 inside Wayland counts as Wayland: its server shows and reaches only the windows of X11 programs.
bool isWaylandSession();

// How the screen or the keys are had in this session.
enum class Way { open, shut, portal };

// Asks the display no longer than a moment: one that does not answer is shut. `isOpen` tells on X11. Not on the main
// thread.
Way wayTo(const Inquiry &display, bool (*isOpen)());

constexpr std::chrono::minutes OWNER_ANSWERING(10); // for the portal's question

} // namespace ombru
