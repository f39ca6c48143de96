// What programs hold down on the X server, beside what a person holds; on a server of the test's own.
#include "platform/linux/x11/SyntheticInput.h"

#include "tests/support/PersonsKeyboard.h"

#include <xcb/xtest.h>

using namespace ombru;
using namespace ombru::test;

namespace {

constexpr std::uint8_t RETURN_KEY = 36;
constexpr std::uint8_t SHIFT_KEY = 50;

class SyntheticInputTest : public ::testing::Test {
protected:
    void press(std::uint8_t kind, std::uint8_t number) {
        xcb_test_fake_input(display.connection(), kind, number, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(display.connection());
    }

    Display display = std::move(*Display::open());
    Display other = std::move(*Display::open());
};

} // namespace

TEST_F(SyntheticInputTest, NothingIsHeldAtFirst) {
    EXPECT_FALSE(heldByPrograms(display).any());
    EXPECT_FALSE(heldByAnybody(display).any());
}

TEST_F(SyntheticInputTest, WhatAnyProgramHoldsIsSeenAndReleased) {
    press(XCB_KEY_PRESS, SHIFT_KEY);
    press(XCB_KEY_PRESS, RETURN_KEY);
    press(XCB_BUTTON_PRESS, 1);
    heldByAnybody(display);
    const auto held = heldByPrograms(other);
    EXPECT_EQ(held.keys.count(), 2U);
    EXPECT_TRUE(held.keys[SHIFT_KEY] && held.keys[RETURN_KEY]);
    EXPECT_EQ(held.buttons.count(), 1U);
    EXPECT_TRUE(held.buttons[1]);
    EXPECT_TRUE(heldByAnybody(other).buttons[1]);
    const auto released = releaseHeldByPrograms(other);
    EXPECT_TRUE(released.keys == held.keys && released.buttons == held.buttons);
    EXPECT_FALSE(heldByAnybody(other).any());
    EXPECT_FALSE(heldByPrograms(other).any());
}

TEST_F(SyntheticInputTest, WhatAPersonHoldsStaysDown) {
    const PersonsKeyboard person;
    person.press(RETURN_KEY, true);
    press(XCB_KEY_PRESS, SHIFT_KEY);
    heldByAnybody(display);
    EXPECT_EQ(releaseHeldByPrograms(other).keys.count(), 1U);
    EXPECT_TRUE(heldByAnybody(other).keys[RETURN_KEY]);
    EXPECT_FALSE(heldByAnybody(other).keys[SHIFT_KEY]);
    person.press(RETURN_KEY, false);
    EXPECT_FALSE(heldByAnybody(other).any());
}
