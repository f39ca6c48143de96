#include "voice/Mulaw.h"

#include "tests/support/G711.h"
#include "tests/support/Wait.h"
#include "tests/support/WavFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <bit>
#include <cstdlib>
#include <thread>
#include <vector>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

std::uint8_t encoded(int sample) {
    const std::array samples{static_cast<std::int16_t>(sample)};
    return static_cast<std::uint8_t>(pcmToUlaw(samples)[0]);
}

std::vector<std::int16_t> everySample() {
    std::vector<std::int16_t> samples;
    for (int sample = -32768; sample <= 32767; ++sample)
        samples.push_back(static_cast<std::int16_t>(sample));
    return samples;
}

// The formula bit by bit: the segment is where the highest bit stands, the interval the four bits behind it.
std::uint8_t bitByBit(int sample) {
    const int shifted = (sample - (((sample % 4) + 4) % 4)) / 4; // rounded down
    const auto magnitude = static_cast<unsigned>(std::min(shifted < 0 ? -shifted : shifted, 8159) + 33);
    const bool negative = sample < 0;
    if (magnitude > 8191)
        return negative ? 0x00 : 0x80;
    const int highest = std::bit_width(magnitude);
    const int segment = highest <= 6 ? 0 : highest - 6;
    int code = negative ? 0x80 : 0;
    for (int bit = 0; bit < 3; ++bit)
        code |= segment & (1 << bit) ? 0x10 << bit : 0;
    for (int bit = 0; bit < 4; ++bit)
        code |= magnitude & (1U << (segment + 1 + bit)) ? 1 << bit : 0;
    return static_cast<std::uint8_t>(~code);
}

} // namespace

TEST(Mulaw, KnownSamplesHaveKnownCodes) {
    EXPECT_EQ(encoded(0), 0xFF);
    EXPECT_EQ(encoded(-1), 0x7E);
    EXPECT_EQ(encoded(32767), 0x80) << "the clip leaves it above every segment";
    EXPECT_EQ(encoded(-32768), 0x00);
}

TEST(Mulaw, AFrameIsTwentyMilliseconds) {
    EXPECT_EQ(RATE, 8000);
    EXPECT_EQ(FRAME_BYTES, 320);
    const std::vector<std::int16_t> frame(FRAME_BYTES / 2);
    EXPECT_EQ(pcmToUlaw(frame), QByteArray(160, '\xFF'));
    EXPECT_EQ(pcmToUlaw({}), QByteArray());
}

TEST(Mulaw, EverySampleHasTheCodeOfTheFormulaBitByBit) {
    const auto samples = everySample();
    const auto codes = pcmToUlaw(samples);
    ASSERT_EQ(codes.size(), 65536);
    for (std::size_t at = 0; at < samples.size(); ++at)
        ASSERT_EQ(static_cast<std::uint8_t>(codes[static_cast<qsizetype>(at)]), bitByBit(samples[at])) << samples[at];
}

TEST(Mulaw, ADecoderHearsEverySampleToWithinOneStep) {
    for (const auto sample : everySample()) {
        const auto code = encoded(sample);
        ASSERT_LE(std::abs(test::fromUlaw(code) - sample), test::quantisationStep(code)) << sample;
    }
}

TEST(Mulaw, AnotherProgramHearsEverySampleToWithinOneStep) {
    const QTemporaryDir directory;
    const auto samples = everySample();
    const auto codes = pcmToUlaw(samples);
    QFile coded(directory.filePath(u"coded.ul"_s));
    ASSERT_TRUE(coded.open(QFile::WriteOnly));
    ASSERT_EQ(coded.write(codes), codes.size());
    coded.close();
    const auto command = "cd '" + QFile::encodeName(directory.path()) +
                         "' && sox -D -t ul -r 8000 -c 1 coded.ul -t raw -r 8000 -c 1 -b 16 -e signed heard.raw";
    ASSERT_EQ(std::system(command.constData()), 0) << "sox is missing?";
    QFile raw(directory.filePath(u"heard.raw"_s));
    ASSERT_TRUE(raw.open(QFile::ReadOnly));
    const auto heard = raw.readAll();
    ASSERT_EQ(heard.size(), 2 * codes.size());
    for (std::size_t at = 0; at < samples.size(); ++at) {
        const auto value = qFromLittleEndian<std::int16_t>(heard.constData() + 2 * at);
        const auto code = static_cast<std::uint8_t>(codes[static_cast<qsizetype>(at)]);
        ASSERT_LE(std::abs(value - samples[at]), test::quantisationStep(code)) << samples[at];
    }
}

TEST(Mulaw, TheTableIsIndexedByTheSamplesPattern) {
    for (const auto sample : everySample())
        ASSERT_EQ(ulawTable()[static_cast<std::uint16_t>(sample)], encoded(sample)) << sample;
    EXPECT_EQ(&ulawTable(), &ulawTable());
}

TEST(Mulaw, TwoThreadsMayBeTheFirstToEncode) {
    const auto samples = everySample();
    QByteArray other;
    std::thread thread([&] { other = pcmToUlaw(samples); });
    const auto codes = pcmToUlaw(samples);
    thread.join();
    EXPECT_EQ(codes, other);
}

TEST(Mulaw, WritesIntoTheCallersMemoryAndNoFurther) {
    std::array<std::uint8_t, 4> bytes{1, 1, 1, 1};
    pcmToUlaw(std::array<std::int16_t, 3>{0, -1, 32767}, bytes.data());
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{0xFF, 0x7E, 0x80, 1}));
}
