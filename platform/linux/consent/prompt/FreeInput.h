// The keys and buttons of the desktop before its owner is asked: none may be down that would become a part of the
// answer. Any thread.
#pragma once

namespace ombru {

// Releases what programs hold down, and waits, without a limit, until people hold nothing. Returns at once where no X
// server of its own can be asked: a Wayland session gives its windows no keys that were pressed before.
void awaitFreeInput();

} // namespace ombru
