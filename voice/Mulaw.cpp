#include "voice/Mulaw.h"

#include <algorithm>
#include <cstdlib>

namespace ombru {

namespace {

constexpr std::array<int, 8> SEGMENT_LIMITS = {0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF, 0x1FFF};
constexpr int CLIP = 8159;
constexpr int BIAS = 33;

std::uint8_t codeOf(std::int16_t sample) {
    const int mask = sample >= 0 ? 0xFF : 0x7F;
    const int magnitude = std::min(std::abs(sample >> 2), CLIP) + BIAS;
    const auto *limit = std::ranges::lower_bound(SEGMENT_LIMITS, magnitude);
    if (limit == SEGMENT_LIMITS.end()) // the clip leaves one magnitude above them
        return static_cast<std::uint8_t>(0x7F ^ mask);
    const auto segment = static_cast<int>(limit - SEGMENT_LIMITS.begin());
    return static_cast<std::uint8_t>(((segment << 4) | ((magnitude >> (segment + 1)) & 0x0F)) ^ mask);
}

UlawTable makeTable() {
    UlawTable table;
    for (std::size_t pattern = 0; pattern < table.size(); ++pattern)
        table[pattern] = codeOf(static_cast<std::int16_t>(pattern));
    return table;
}

} // namespace

const UlawTable &ulawTable() {
    static const UlawTable table = makeTable();
    return table;
}

// The compiler reads several samples at once only when it knows that no code written is one of them.
void pcmToUlaw(std::span<const std::int16_t> samples, std::uint8_t *__restrict into) {
    const std::uint8_t *__restrict codes = ulawTable().data();
    const std::int16_t *__restrict sample = samples.data();
    for (std::size_t at = 0; at < samples.size(); ++at)
        into[at] = codes[static_cast<std::uint16_t>(sample[at])];
}

QByteArray pcmToUlaw(std::span<const std::int16_t> samples) {
    QByteArray bytes(static_cast<qsizetype>(samples.size()), Qt::Uninitialized);
    pcmToUlaw(samples, reinterpret_cast<std::uint8_t *>(bytes.data()));
    return bytes;
}

} // namespace ombru
