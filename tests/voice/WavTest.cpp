#include "voice/Wav.h"

#include "tests/support/Wait.h"
#include "tests/support/WavFile.h"

using namespace ombru;
using test::bytesOf;
using test::chunk;
using test::riff;
using test::WavFormat;
using test::wavOf;

namespace {

Samples counting(int count) {
    Samples samples;
    for (int number = 0; number < count; ++number)
        samples.push_back(static_cast<std::int16_t>(number));
    return samples;
}

} // namespace

TEST(Wav, SixteenBitsAtTheRateOfACallAreTakenAsTheyAre) {
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{0, 1, -1, 32767, -32768})), (Samples{0, 1, -1, 32767, -32768}));
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{})), Samples());
}

TEST(Wav, TwiceTheRateGivesHalfTheSamples) {
    const auto samples = wavToPCM8k(wavOf(counting(1000), {.rate = 16000}));
    ASSERT_EQ(samples.size(), 500U);
    for (std::size_t at = 0; at < samples.size(); ++at)
        ASSERT_EQ(samples[at], 2 * int(at));
}

TEST(Wav, TooFewSamplesForOneGiveNone) {
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, 2}, {.rate = 24000})), Samples());
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, 2, 3}, {.rate = 24000})), Samples{1});
}

TEST(Wav, BetweenTwoSamplesTheLineCountsTruncatedTowardsZero) {
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{0, 5, -5, 32767}, {.rate = 4000})),
              (Samples{0, 2, 5, 0, -5, 16381, 32767, 32767}));
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{0, -5}, {.rate = 4000})), (Samples{0, -2, -5, -5})) << "the last one stays";
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{0, 300, 600, 900}, {.rate = 12000})), (Samples{0, 450}));
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{32767, -32768}, {.rate = 4000})), (Samples{32767, 0, -32768, -32768}));
}

TEST(Wav, AnUnevenRatioIsCountedFromTheStart) {
    const auto samples = wavToPCM8k(wavOf(counting(22050), {.rate = 22050}));
    ASSERT_EQ(samples.size(), 8000U);
    for (std::size_t at = 0; at < samples.size(); ++at)
        ASSERT_EQ(samples[at], static_cast<std::int16_t>(22050.0 / 8000 * double(at))) << at;
}

TEST(Wav, OfTwoChannelsTheLeftOneIsHeard) {
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, -1, 2, -2, 3, -3}, {.channels = 2})), (Samples{1, 2, 3}));
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, -1, 2, -2, 3}, {.channels = 2})), (Samples{1, 2, 3}))
        << "half a frame counts";
}

TEST(Wav, ASizeOfNoneOrOfMoreThanThereIsGoesToTheEnd) {
    const auto bytes = bytesOf(Samples{1, 2, 3});
    for (const quint32 claimed : {0U, 7U, 0x7FFFFFFFU, 0xFFFFFFFFU})
        EXPECT_EQ(wavToPCM8k(riff(WavFormat().chunk() + chunk("data", bytes, claimed))), (Samples{1, 2, 3})) << claimed;
    EXPECT_EQ(wavToPCM8k(riff(WavFormat().chunk() + chunk("data", bytes, 4))), (Samples{1, 2}));
    EXPECT_EQ(wavToPCM8k(riff(WavFormat().chunk() + chunk("data", bytes, 5))), (Samples{1, 2})) << "no half sample";
}

TEST(Wav, OtherChunksAreSkippedWithTheirPadding) {
    const auto data = chunk("data", bytesOf(Samples{7}));
    EXPECT_EQ(wavToPCM8k(riff(WavFormat().chunk() + chunk("LIST", "odd") + data)), Samples{7});
    EXPECT_EQ(wavToPCM8k(riff(chunk("LIST", "even") + WavFormat{.rate = 16000}.chunk() + chunk("fact", {}) +
                              chunk("data", bytesOf(Samples{7, 8})))),
              Samples{7});
}

TEST(Wav, WithoutAFormatItIsThatOfACall) {
    EXPECT_EQ(wavToPCM8k(riff(chunk("data", bytesOf(Samples{1, 2})))), (Samples{1, 2}));
}

TEST(Wav, TheHeadAndTheFormatsTagAreNotLookedAt) {
    EXPECT_EQ(wavToPCM8k("twelve bytes" + WavFormat{.tag = 0xFFFE}.chunk() + chunk("data", bytesOf(Samples{1}))),
              Samples{1});
}

TEST(Wav, WithoutDataInsideTheInputThereIsNothing) {
    const auto whole = wavOf(Samples{1, 2});
    for (const auto &bytes :
         {QByteArray(), QByteArray("RIFF"), riff({}), riff(WavFormat().chunk()), riff(WavFormat().chunk() + "data"),
          riff(WavFormat().chunk() + chunk("LIST", "x", 1000)), riff(chunk("LIST", "x", 0xFFFFFFFF)), whole.first(43)})
        EXPECT_EQ(wavToPCM8k(bytes), Samples()) << bytes.size();
}

TEST(Wav, NoCutReadsPastTheEnd) {
    const auto whole = wavOf(counting(40), {.channels = 2, .rate = 11025});
    for (qsizetype size = 0; size < whole.size(); ++size) {
        const QByteArray cut(whole.constData(), size); // memory of its own, which sanitizers watch
        EXPECT_LE(wavToPCM8k(cut).size(), 20U) << size;
    }
}

TEST(Wav, OnlySixteenBitsAreRead) {
    for (const quint16 bits : {0, 1, 8, 24, 32, 65535})
        EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, 2, 3, 4}, {.bits = bits})), Samples()) << bits;
}

TEST(Wav, AFormatThatIsTooShortOrHasNoChannelOrRateGivesNothing) {
    const auto data = chunk("data", bytesOf(Samples{1, 2}));
    const auto whole = WavFormat().chunk().sliced(8);
    const auto bits = chunk(whole.last(2) + "xx", {}); // stands where they would be read
    EXPECT_EQ(wavToPCM8k(riff(chunk("fmt ", whole.chopped(2)) + bits + data)), Samples());
    EXPECT_EQ(wavToPCM8k(riff(WavFormat().chunk().first(20))), Samples());
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, 2}, {.channels = 0})), Samples());
    EXPECT_EQ(wavToPCM8k(wavOf(Samples{1, 2}, {.rate = 0})), Samples());
}

TEST(Wav, MoreThanAnHourIsNotMadeOfALittle) {
    EXPECT_EQ(wavToPCM8k(wavOf(counting(3600), {.rate = 1})).size(), 3600U * 8000);
    EXPECT_EQ(wavToPCM8k(wavOf(counting(3601), {.rate = 1})), Samples());
    EXPECT_EQ(wavToPCM8k(wavOf(counting(3), {.rate = 0xFFFFFFFF})), Samples());
}
