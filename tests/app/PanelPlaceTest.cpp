#include "app/panel/PanelPlace.h"

#include "tests/support/Wait.h"

using namespace ombru;

namespace {

const QRect SCREEN(0, 0, 1920, 1080);
const QRect BELOW_A_BAR(0, 30, 1920, 1050);
const QRect ABOVE_A_BAR(0, 0, 1920, 1050);
const QSize PANEL(320, 200);

QRect placed(const QRect &icon, const QRect &screen, const QRect &free, const QSize &panel = PANEL) {
    return {panelPlace(icon, panel, screen, free), panel};
}

} // namespace

TEST(PanelPlace, UnderAnIconAtTheTopItsMiddleIsTheIcons) {
    const auto place = placed({1000, 4, 22, 22}, SCREEN, BELOW_A_BAR);
    EXPECT_EQ(place.top(), 30);
    EXPECT_NEAR(place.center().x(), 1011, 2);
}

TEST(PanelPlace, AboveAnIconAtTheBottom) {
    const auto place = placed({1000, 1054, 22, 22}, SCREEN, ABOVE_A_BAR);
    EXPECT_EQ(place.bottom(), 1049);
}

TEST(PanelPlace, NearAnEdgeItStaysOnTheScreen) {
    EXPECT_LE(placed({1900, 4, 22, 22}, SCREEN, BELOW_A_BAR).right(), 1919);
    EXPECT_GE(placed({0, 4, 22, 22}, SCREEN, BELOW_A_BAR).left(), 0);
}

TEST(PanelPlace, OnTheIconsOwnMonitor) {
    const QRect second(1920, 200, 1280, 800);
    const auto place = placed({2000, 204, 22, 22}, second, second.adjusted(0, 30, 0, 0));
    EXPECT_TRUE(second.contains(place));
}

TEST(PanelPlace, WithoutAnIconsPlaceInTheRightCornerNextToTheBar) {
    const auto top = placed({}, SCREEN, BELOW_A_BAR);
    EXPECT_EQ(top.topRight(), QPoint(1911, 38));
    const auto bottom = placed({}, SCREEN, ABOVE_A_BAR);
    EXPECT_EQ(bottom.bottomRight(), QPoint(1911, 1041));
    EXPECT_EQ(placed({}, SCREEN, SCREEN).topRight(), QPoint(1911, 8));
}

TEST(PanelPlace, WhatIsLargerThanTheScreenBeginsAtItsUpperLeft) {
    const QRect small(0, 0, 200, 100);
    EXPECT_EQ(placed({}, small, small).topLeft(), QPoint(8, 8));
    EXPECT_EQ(placed({90, 0, 22, 22}, small, small).left(), 8);
}
