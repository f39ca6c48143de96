// ombru-input-release: lets go of the keys and buttons that programs hold down, and gives back the keys that a program
// which was killed had borrowed. For after a script that had no time to do so. Prints how many were down.
#include "base/Program.h"
#include "osascript/desktop/KeyLoans.h"
#include "platform/linux/x11/SyntheticInput.h"

#include <cstdio>

int main() {
    ombru::beginProgram();
    const std::atomic<bool> goOn = false;
    auto x11 = ombru::X11::open(goOn);
    if (!x11)
        return 1;
    const auto held = ombru::releaseHeldByPrograms(x11->display());
    std::printf("%zu\n", held.keys.count() + held.buttons.count());
    const ombru::ServerGrab grab(*x11);
    ombru::livingLoans(*x11);
    return 0;
}
