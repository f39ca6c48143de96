#include "voice/Wav.h"

#include "voice/Mulaw.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <optional>

namespace ombru {

namespace {

constexpr qsizetype FIRST_CHUNK = 12; // behind the RIFF head
constexpr qsizetype CHUNK_HEAD = 8;
constexpr qsizetype FORMAT_SIZE = 16;
constexpr double MOST_SAMPLES = 3600.0 * RATE;

template <class Number>
Number littleEndian(QByteArrayView bytes, qsizetype at) {
    return qFromLittleEndian<Number>(bytes.data() + at);
}

struct Format {
    std::uint16_t channels = 1;
    std::uint32_t rate = RATE;
    std::uint16_t bits = 16;
};

struct Sound {
    Format format;
    QByteArrayView data;
};

// Of the chunk at `at`; none when it is too short for its fields.
std::optional<Format> formatAt(QByteArrayView bytes, qsizetype at, qsizetype size) {
    if (size < FORMAT_SIZE || bytes.size() - at < CHUNK_HEAD + FORMAT_SIZE)
        return std::nullopt;
    return Format{littleEndian<std::uint16_t>(bytes, at + 10), littleEndian<std::uint32_t>(bytes, at + 12),
                  littleEndian<std::uint16_t>(bytes, at + 22)};
}

// RIFF head, then chunks of: id (4 bytes), size (4), content, a byte of padding behind an odd size.
std::optional<Sound> soundIn(QByteArrayView bytes) {
    Format format;
    for (qsizetype at = FIRST_CHUNK; bytes.size() - at >= CHUNK_HEAD;) {
        const auto id = bytes.sliced(at, 4);
        const qsizetype size = littleEndian<std::uint32_t>(bytes, at + 4);
        if (id == "data") {
            const auto rest = bytes.sliced(at + CHUNK_HEAD);
            return Sound{format, size == 0 ? rest : rest.first(std::min(size, rest.size()))};
        }
        if (id == "fmt ") {
            const auto told = formatAt(bytes, at, size);
            if (!told)
                return std::nullopt;
            format = *told;
        }
        at += size + (size & 1) + CHUNK_HEAD;
    }
    return std::nullopt;
}

Samples firstChannel(const Sound &sound) {
    Samples samples;
    const qsizetype step = sound.format.channels * 2;
    if (sound.format.bits != 16 || step == 0)
        return samples;
    samples.reserve(static_cast<std::size_t>(sound.data.size() / step + 1));
    for (qsizetype at = 0; at + 1 < sound.data.size(); at += step)
        samples.push_back(littleEndian<std::int16_t>(sound.data, at));
    return samples;
}

Samples resampled(const Samples &samples, std::uint32_t rate) {
    const double ratio = static_cast<double>(rate) / RATE;
    const double length = std::floor(static_cast<double>(samples.size()) / ratio);
    if (!(length >= 1 && length <= MOST_SAMPLES))
        return {};
    Samples result(static_cast<std::size_t>(length));
    const auto last = samples.size() - 1;
    for (std::size_t number = 0; number < result.size(); ++number) {
        const double place = ratio * static_cast<double>(number);
        const auto before = std::min(last, static_cast<std::size_t>(place));
        const auto behind = std::min(last, before + 1);
        const double rise = samples[behind] - samples[before];
        const double value = samples[before] + (place - static_cast<double>(before)) * rise;
        result[number] = static_cast<std::int16_t>(std::clamp(value, -32768.0, 32767.0));
    }
    return result;
}

} // namespace

Samples wavToPCM8k(QByteArrayView data) {
    const auto sound = soundIn(data);
    if (!sound)
        return {};
    auto samples = firstChannel(*sound);
    if (sound->format.rate == RATE || samples.empty())
        return samples;
    return resampled(samples, sound->format.rate);
}

} // namespace ombru
