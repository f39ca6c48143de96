// What a mu-law code sounds like, by the decoder of G.711.
#pragma once
#include <cstdint>

namespace ombru::test {

inline int exponentOf(std::uint8_t code) {
    return (~code & 0x70) >> 4;
}

// Between this code's sample and those of its neighbours.
inline int quantisationStep(std::uint8_t code) {
    return 8 << exponentOf(code);
}

// In 16 bits.
inline std::int16_t fromUlaw(std::uint8_t code) {
    const int magnitude = ((((~code & 0x0F) << 3) + 0x84) << exponentOf(code)) - 0x84;
    return static_cast<std::int16_t>((code & 0x80) != 0 ? magnitude : -magnitude);
}

} // namespace ombru::test
