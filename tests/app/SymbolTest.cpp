// The symbols are the drawings beside their source, whatever draws them, sharp in every size and in the colour that is
// asked for.
#include "app/panel/Symbol.h"

#include "look/Colours.h"

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QDir DRAWINGS(qEnvironmentVariable("OMBRU_SOURCE") + u"/app/panel/symbols"_s);
const QColor COLOUR(40, 90, 200);
constexpr int ROUNDING = 50; // of 255, along edges: a fifth of a point

QImage nothing(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage drawn(const QString &name, int size) {
    QFile file(DRAWINGS.filePath(name + u".svg"_s));
    EXPECT_TRUE(file.open(QFile::ReadOnly)) << name.toStdString();
    auto image = nothing(size);
    QPainter painter(&image);
    QSvgRenderer(file.readAll().replace("currentColor", "black")).render(&painter, QRectF(0, 0, size, size));
    return image;
}

QImage image(const QPixmap &pixmap) {
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
}

int furthest(const QImage &one, const QImage &other) { // in what they cover
    int difference = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            difference = std::max(difference, std::abs(qAlpha(one.pixel(x, y)) - qAlpha(other.pixel(x, y))));
    }
    return difference;
}

QStringList names() {
    QStringList names;
    for (const auto &file : DRAWINGS.entryList(QDir::Files))
        names += file.chopped(4);
    return names;
}

} // namespace

TEST(Symbol, IsItsDrawingInEverySize) {
    EXPECT_EQ(names().size(), 6);
    for (const auto &name : names()) {
        for (const int size : {16, 22, 24, 31, 32, 48, 64, 200, 1000}) {
            const auto told = testing::Message() << name.toStdString() << ' ' << size;
            const auto original = drawn(name, size);
            const auto symbol = image(symbolPixmap(name, size, COLOUR));
            ASSERT_EQ(symbol.size(), QSize(size, size)) << told;
            EXPECT_GT(furthest(original, nothing(size)), 200) << told;
            EXPECT_LE(furthest(original, symbol), ROUNDING) << told;
            EXPECT_LE(furthest(original, image(symbolForBar(name).pixmap(QSize(size, size), 1))), ROUNDING) << told;
        }
    }
}

TEST(Symbol, HasAllPointsOfADenseScreen) {
    const auto symbol = symbolPixmap(u"phone"_s, 24, COLOUR, 2);
    EXPECT_EQ(symbol.devicePixelRatio(), 2);
    EXPECT_LE(furthest(drawn(u"phone"_s, 48), image(symbol)), ROUNDING);
}

TEST(Symbol, HasOneColourAndAMarkItsOwn) {
    const auto symbol = image(symbolPixmap(u"phone.fill"_s, 64, COLOUR));
    const auto plain = image(symbolForBar(u"phone.fill"_s).pixmap(QSize(64, 64), 1));
    const auto marked = image(symbolForBar(u"phone.fill"_s, true).pixmap(QSize(64, 64), 1));
    int covered = 0;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            if (qAlpha(symbol.pixel(x, y)) < 255)
                continue;
            ++covered;
            EXPECT_EQ(symbol.pixelColor(x, y), COLOUR);
        }
    }
    EXPECT_GT(covered, 500);
    EXPECT_NE(plain.pixelColor(48, 48), lightColours().waiting);
    EXPECT_EQ(marked.pixelColor(48, 48), lightColours().waiting);
    EXPECT_EQ(marked.pixel(10, 10), plain.pixel(10, 10));
}

TEST(Symbol, OffersTheSizesOfBars) {
    EXPECT_EQ(symbolForBar(u"phone"_s).availableSizes().size(), 6);
    EXPECT_FALSE(symbolForBar(u"phone"_s).isNull());
}
