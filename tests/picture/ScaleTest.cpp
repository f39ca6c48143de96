#include "picture/Scale.h"

#include <gtest/gtest.h>
#include <random>

using namespace ombru;

namespace {

Picture painted(int width, int height, const std::function<std::uint32_t(int, int)> &colour) {
    const auto pixels = std::make_shared<std::uint32_t[]>(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[static_cast<std::size_t>(y) * width + x] = colour(x, y);
    return {width, height, pixels};
}

int green(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 8 & 0xff);
}

double meanGreen(const Picture &picture) {
    double sum = 0;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            sum += green(picture.row(y)[x]);
    return sum / picture.width / picture.height;
}

} // namespace

TEST(Scale, FitsTheLongerSideAndKeepsTheAspect) {
    EXPECT_EQ(fitted({3024, 1964}, 1568), QSize(1568, 1018));
    EXPECT_EQ(fitted({1920, 1080}, 1568), QSize(1568, 882));
    EXPECT_EQ(fitted({1080, 1920}, 1568), QSize(882, 1568));
    EXPECT_EQ(fitted({640, 480}, 1568), QSize(1568, 1176));
    EXPECT_EQ(fitted({1568, 1568}, 1568), QSize(1568, 1568));
}

TEST(Scale, NoSideVanishes) {
    EXPECT_EQ(fitted({10000, 1}, 1568), QSize(1568, 1));
    EXPECT_EQ(fitted({1, 10000}, 100), QSize(1, 100));
}

TEST(Scale, TheSameSizeIsTheSamePicture) {
    const Picture picture = painted(20, 10, [](int x, int y) { return static_cast<std::uint32_t>(x * 1000 + y); });
    EXPECT_EQ(scaled(picture, {20, 10}).pixels, picture.pixels);
}

TEST(Scale, OneColourStaysExactlyThatColourAtEverySize) {
    const Picture picture = painted(301, 197, [](int, int) { return 0x00fe8003U; });
    for (const QSize size : {QSize(1568, 1018), QSize(157, 102), QSize(300, 196), QSize(1, 1), QSize(7, 400)}) {
        const Picture result = scaled(picture, size);
        ASSERT_EQ(QSize(result.width, result.height), size);
        for (int y = 0; y < result.height; ++y)
            for (int x = 0; x < result.width; ++x)
                ASSERT_EQ(result.row(y)[x] & 0xffffff, 0xfe8003U) << size.width() << " " << x << "," << y;
    }
}

TEST(Scale, EveryPixelCountsWhenItShrinks) {
    const Picture board = painted(1000, 1000, [](int x, int y) { return (x + y) % 2 ? 0xffffffU : 0U; });
    EXPECT_NEAR(meanGreen(scaled(board, {500, 500})), 127.5, 3);
    EXPECT_NEAR(meanGreen(scaled(board, {333, 333})), 127.5, 3);
    EXPECT_NEAR(meanGreen(scaled(board, {1, 1})), 127.5, 3);
}

TEST(Scale, BrightnessIsKept) {
    std::mt19937 random(1);
    const Picture noise =
        painted(640, 360, [&](int x, int) { return static_cast<std::uint32_t>(random() % 64 + x / 4) * 0x010101U; });
    const double mean = meanGreen(noise);
    for (const QSize size : {QSize(333, 187), QSize(1568, 882), QSize(100, 56)})
        EXPECT_NEAR(meanGreen(scaled(noise, size)), mean, 1) << size.width();
}

TEST(Scale, AThinLineStaysVisibleWhereverItFalls) {
    for (int at = 20; at < 40; ++at) {
        const Picture line = painted(100, 10, [at](int x, int) { return x == at ? 0U : 0xffffffU; });
        const Picture small = scaled(line, {52, 5});
        int darkest = 255;
        for (int x = 0; x < small.width; ++x)
            darkest = std::min(darkest, green(small.row(2)[x]));
        EXPECT_LT(darkest, 200) << at;
    }
}

TEST(Scale, NothingMovesWhenItShrinks) {
    const Picture half = painted(200, 100, [](int x, int) { return x < 100 ? 0U : 0xffffffU; });
    const Picture small = scaled(half, {100, 50});
    EXPECT_LT(green(small.row(25)[48]), 20);
    EXPECT_GT(green(small.row(25)[51]), 235);
    EXPECT_NEAR(green(small.row(25)[49]) + green(small.row(25)[50]), 255, 4);
}

TEST(Scale, GrowingInterpolatesBetweenNeighbours) {
    const Picture two = painted(2, 1, [](int x, int) { return x ? 0xffffffU : 0U; });
    const Picture large = scaled(two, {8, 1});
    const std::vector<int> expected{0, 0, 32, 96, 159, 223, 255, 255};
    for (int x = 0; x < 8; ++x)
        EXPECT_NEAR(green(large.row(0)[x]), expected[x], 2) << x;
}

TEST(Scale, ColoursStayInTheirChannels) {
    const Picture picture = painted(64, 64, [](int, int y) { return y < 32 ? 0xff0000U : 0x0000ffU; });
    const Picture small = scaled(picture, {20, 20});
    EXPECT_EQ(small.row(2)[10] & 0xffffff, 0xff0000U);
    EXPECT_EQ(small.row(17)[10] & 0xffffff, 0x0000ffU);
}

TEST(Scale, TheUnusedByteDoesNotLeakIntoTheColours) {
    const Picture picture = painted(50, 50, [](int x, int) { return (x % 2 ? 0xff000000U : 0U) | 0x102030U; });
    EXPECT_EQ(scaled(picture, {23, 23}).row(11)[11] & 0xffffff, 0x102030U);
}

TEST(Scale, TinyAndNarrowPicturesAreInRange) {
    for (const QSize from : {QSize(1, 1), QSize(1, 5), QSize(2, 3), QSize(3, 2), QSize(5, 1), QSize(4000, 1)}) {
        for (const QSize to : {QSize(1, 1), QSize(2, 1), QSize(1, 3), QSize(7, 5), QSize(100, 1)}) {
            const Picture result = scaled(painted(from.width(), from.height(), [](int, int) { return 0xffffffU; }), to);
            ASSERT_EQ(QSize(result.width, result.height), to);
            EXPECT_EQ(meanGreen(result), 255);
        }
    }
}

TEST(Scale, InBandsTheResultIsTheSame) {
    std::mt19937 random(5);
    const Picture noise = painted(300, 200, [&](int, int) { return static_cast<std::uint32_t>(random()); });
    for (const QSize size : {QSize(157, 105), QSize(1568, 1045), QSize(300, 200), QSize(10, 7)}) {
        const Picture whole = scaled(noise, size);
        Scaler scaler({300, 200}, size);
        for (int y = 0; y < size.height(); y += 13) {
            const Scaler::Rows band{y, std::min(13, size.height() - y)};
            const Scaler::Rows rows = scaler.sources(band);
            ASSERT_GE(rows.first, 0);
            ASSERT_LE(rows.first + rows.count, 200);
            // A copy of just these rows, so that reading past them is seen.
            const std::vector<std::uint32_t> copy(noise.row(rows.first), noise.row(rows.first) + 300 * rows.count);
            scaler.scale(band, copy.data());
        }
        const Picture banded = scaler.take();
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                ASSERT_EQ(banded.row(y)[x] & 0xffffff, whole.row(y)[x] & 0xffffff)
                    << size.width() << " " << x << "," << y;
    }
}
