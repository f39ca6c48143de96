// ombru-input-release: lets go of the keys and buttons that programs hold down, and gives back the keys that a program
// which was killed had borrowed. For after a script that had no time to do so. Prints how many were down.
//
//     ombru-input-release [--unless-dismissed]
//
// With that it first waits for a byte at descriptor 3, after which it does nothing: when the other end closes without
// one, whoever would have sent it has died.
#include "base/Program.h"
#include "osascript/desktop/KeyLoans.h"
#include "platform/linux/x11/SyntheticInput.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int WATCHED = 3;
constexpr unsigned LONGEST = 60; // seconds that a display may take to answer
constexpr std::chrono::milliseconds PROMPT(500);
constexpr int CATCHING_UP_MILLISECONDS = 200;

// A display that was silent for a while may still have keys before it that the killed program had pressed.
std::size_t releaseAll(const ombru::X11 &x11, bool late) {
    auto held = ombru::releaseHeldByPrograms(x11.display());
    if (late) {
        x11.pause(CATCHING_UP_MILLISECONDS);
        const auto after = ombru::releaseHeldByPrograms(x11.display());
        held.keys |= after.keys;
        held.buttons |= after.buttons;
    }
    return held.keys.count() + held.buttons.count();
}

bool isDismissed() {
    char byte = 0;
    ssize_t got = 0;
    while ((got = ::read(WATCHED, &byte, 1)) < 0 && errno == EINTR) {
    }
    return got == 1;
}

} // namespace

int main(int argc, char **) {
    ombru::beginProgram();
    if (argc > 1 && isDismissed())
        return 0;
    ::alarm(LONGEST);
    const auto begun = Clock::now();
    const std::atomic<bool> goOn = false;
    auto x11 = ombru::X11::open(goOn);
    if (!x11)
        return 1;
    std::printf("%zu\n", releaseAll(*x11, Clock::now() - begun > PROMPT));
    const ombru::ServerGrab grab(*x11);
    ombru::livingLoans(*x11);
    return 0;
}
