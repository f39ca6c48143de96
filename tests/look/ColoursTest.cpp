// That what our windows say can be read, light and dark.
#include "look/Colours.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

using namespace ombru;

namespace {

double linear(double part) {
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &colour) {
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

double contrast(const QColor &one, const QColor &other) {
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

} // namespace

TEST(Colours, TextsEdgesAndMarksStandOutFromWhatTheyAreOn) {
    constexpr double TEXT = 4.5;
    constexpr double EDGE = 3;
    for (const auto *colours : {&lightColours(), &darkColours()}) {
        for (const auto &below : {colours->surface, colours->pressed}) {
            EXPECT_GE(contrast(colours->ink, below), TEXT);
            EXPECT_GE(contrast(colours->inkQuiet, below), TEXT);
            EXPECT_GE(contrast(colours->accent, below), EDGE);
            EXPECT_GE(contrast(colours->lineStrong, below), EDGE);
        }
        EXPECT_GE(contrast(colours->onInk, colours->ink), TEXT);
        EXPECT_GE(contrast(Qt::white, colours->halt), TEXT);
    }
    EXPECT_GT(luminance(lightColours().surface), luminance(darkColours().surface));
}
