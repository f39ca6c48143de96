#include "look/Look.h"

#include "look/Style.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

#include <QApplication>

using namespace ombru;

namespace {

class LookTest : public testing::Test {
protected:
    ~LookTest() override { QApplication::setPalette(before); }

    static void setDesktop(const QColor &colour) {
        auto palette = QApplication::palette();
        palette.setColor(QPalette::Window, colour);
        QApplication::setPalette(palette);
        test::settle();
    }
    static void want(ColourScheme scheme) { FakePlatform::instance().colourScheme(scheme); }

    const QPalette before = QApplication::palette();
    QWidget window;
    std::vector<const Colours *> dressed;
    Look look{window, [this](const Colours &colours) { dressed.push_back(&colours); }};
};

} // namespace

TEST_F(LookTest, AWindowIsDressedAtOnce) {
    EXPECT_EQ(dressed, std::vector{&lightColours()});
    EXPECT_EQ(&look.colours(), &lightColours());
}

TEST_F(LookTest, AnOpenWindowFollowsTheDesktopsOwnWindows) {
    window.show();
    setDesktop(Qt::black);
    EXPECT_EQ(dressed, (std::vector{&lightColours(), &darkColours()}));
    setDesktop(Qt::white);
    EXPECT_EQ(dressed.back(), &lightColours());
}

TEST_F(LookTest, WhatTheOwnerWantsComesFirst) {
    want(ColourScheme::dark);
    EXPECT_EQ(dressed.back(), &darkColours());
    setDesktop(Qt::white);
    EXPECT_EQ(dressed.back(), &darkColours());
    want(ColourScheme::unknown);
    EXPECT_EQ(dressed.back(), &lightColours());
}

TEST_F(LookTest, AWindowIsNotDressedAgainInTheSame) {
    want(ColourScheme::light);
    look.refresh();
    EXPECT_EQ(dressed.size(), 1U);
}

TEST_F(LookTest, NothingIsToldToAWindowThatHasGone) {
    {
        const Look other(window, [](const Colours &) {});
    }
    window.show();
    setDesktop(Qt::black);
    EXPECT_EQ(dressed.back(), &darkColours());
}
