#include "platform/linux/consent/prompt/FreeInput.h"

#include "platform/linux/x11/SyntheticInput.h"

#include <chrono>
#include <thread>

namespace ombru {

void awaitFreeInput() {
    constexpr std::chrono::milliseconds GLANCE(20);
    const auto display = Display::open();
    if (!display || display->isWaylandGuest())
        return;
    for (releaseHeldByPrograms(*display); heldByAnybody(*display).any(); releaseHeldByPrograms(*display))
        std::this_thread::sleep_for(GLANCE);
}

} // namespace ombru
