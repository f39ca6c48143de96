// What the X server's devices for programs (XTEST) hold down, apart from what people hold on theirs. Any thread; blocks
// while the server answers.
#pragma once
#include "platform/linux/x11/Display.h"

#include <bitset>
#include <cstdint>
#include <vector>

namespace ombru {

struct HeldInput {
    std::bitset<256> keys;    // by key code
    std::bitset<256> buttons; // from 1

    bool any() const { return keys.any() || buttons.any(); }
};

// Their numbers among the devices of the input extension, which the server has. None when it does not answer.
std::vector<std::uint8_t> devicesForPrograms(const Display &display);

// Of all programs together. Nothing where the server has no such devices, or does not answer.
HeldInput heldByPrograms(const Display &display);

// Releases exactly that, whoever pressed it, and returns once the server has done so. Gives what was held.
HeldInput releaseHeldByPrograms(const Display &display);

// On any device, a program's or a person's. Of buttons the first five.
HeldInput heldByAnybody(const Display &display);

} // namespace ombru
