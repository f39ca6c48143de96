// WAV files as a test wants them.
#pragma once
#include <QByteArray>
#include <QtEndian>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace ombru::test {

template <class Number>
QByteArray littleEndian(Number number) {
    const auto bytes = qToLittleEndian(number);
    return {reinterpret_cast<const char *>(&bytes), sizeof bytes};
}

inline QByteArray chunk(const QByteArray &id, const QByteArray &content, std::optional<quint32> claimed = {}) {
    return id + littleEndian(claimed.value_or(static_cast<quint32>(content.size()))) + content +
           QByteArray(content.size() % 2, '\0');
}

struct WavFormat {
    quint16 channels = 1;
    quint32 rate = 8000;
    quint16 bits = 16;
    quint16 tag = 1;

    QByteArray chunk() const {
        const auto frame = static_cast<quint16>(channels * bits / 8);
        return test::chunk("fmt ", littleEndian(tag) + littleEndian(channels) + littleEndian(rate) +
                                       littleEndian(rate * frame) + littleEndian(frame) + littleEndian(bits));
    }
};

inline QByteArray bytesOf(std::span<const std::int16_t> samples) {
    QByteArray bytes;
    bytes.reserve(static_cast<qsizetype>(2 * samples.size()));
    for (const auto sample : samples)
        bytes += littleEndian(sample);
    return bytes;
}

inline QByteArray riff(const QByteArray &chunks) {
    return "RIFF" + littleEndian(static_cast<quint32>(chunks.size() + 4)) + "WAVE" + chunks;
}

inline QByteArray wavOf(std::span<const std::int16_t> samples, const WavFormat &format = {}) {
    return riff(format.chunk() + chunk("data", bytesOf(samples)));
}

} // namespace ombru::test
