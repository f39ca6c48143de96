// The sound constants of a call, and the G.711 mu-law code in which sound is sent into it: 14 bits of each sample
// become a byte. Any thread.
//
//     bit   7      6 5 4     3 2 1 0        all inverted on the wire, so that silence, 0, is 0xFF
//          sign   segment    interval
#pragma once
#include <QByteArray>

#include <array>
#include <cstdint>
#include <span>

namespace ombru {

constexpr int RATE = 8000;       // samples a second
constexpr int FRAME_BYTES = 320; // 20 ms of 16-bit samples; 160 bytes in mu-law

using UlawTable = std::array<std::uint8_t, 65536>;

// The code of each sample, by the sample's 16-bit pattern. Built once, on first use.
const UlawTable &ulawTable();

// One byte a sample.
QByteArray pcmToUlaw(std::span<const std::int16_t> samples);

// The same into memory of the caller's, which has room for them and is not theirs.
void pcmToUlaw(std::span<const std::int16_t> samples, std::uint8_t *into);

} // namespace ombru
