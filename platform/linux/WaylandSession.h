// Whether this is a Wayland session, where programs see the screen and send keys only through the desktop portal. Any
// thread; blocks while the X server answers, where only that can tell.
#pragma once

namespace ombru {

// X11 inside Wayland counts as Wayland: its server shows and reaches only the windows of X11 programs.
bool isWaylandSession();

} // namespace ombru
