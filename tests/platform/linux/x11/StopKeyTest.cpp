// The stop key and the watch for what programs press, on an X server that has a person's keyboard beside the programs'.
#include "platform/StopKey.h"

#include "platform/InputWatch.h"
#include "tests/support/PersonsKeyboard.h"
#include "tests/support/Variable.h"
#include "tests/support/Wait.h"
#include "tests/support/XServer.h"

#include <QAbstractEventDispatcher>

#include <csignal>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// Of the layout that the server starts with.
constexpr std::uint8_t ESCAPE = 9;
constexpr std::uint8_t LETTER_S = 39;
constexpr std::uint8_t CONTROL = 37;
constexpr std::uint8_t SHIFT = 50;
constexpr std::uint8_t ALT = 64;
constexpr std::uint8_t SPARE = 93; // without a symbol

class StopKeyTest : public ::testing::Test {
protected:
    ~StopKeyTest() override {
        for (const auto key : {ESCAPE, LETTER_S, CONTROL, SHIFT, ALT, SPARE}) {
            person.press(key, false);
            programPresses(XCB_KEY_RELEASE, key);
        }
    }

    void personPresses(std::initializer_list<std::uint8_t> keys) const {
        for (const auto key : keys)
            person.press(key, true);
    }
    void personReleases(std::initializer_list<std::uint8_t> keys) const {
        for (const auto key : keys)
            person.press(key, false);
    }

    // Returns once the server has it.
    void programPresses(std::uint8_t kind, std::uint8_t number) const {
        const auto sent = xcb_test_fake_input_checked(connection(), kind, number, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        const Reply<xcb_generic_error_t> error(xcb_request_check(connection(), sent));
        EXPECT_FALSE(error);
    }
    void programPresses(std::initializer_list<std::uint8_t> keys) const {
        for (const auto key : keys)
            programPresses(XCB_KEY_PRESS, key);
    }

    void giveSymbol(std::uint8_t key, std::uint32_t symbol) const {
        xcb_change_keyboard_mapping(connection(), 1, key, 1, &symbol);
        const Reply<xcb_get_input_focus_reply_t> answered(
            xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    }

    // Until the end of the test.
    void grabKeyboard() const {
        const Reply<xcb_grab_keyboard_reply_t> grab(
            xcb_grab_keyboard_reply(connection(),
                                    xcb_grab_keyboard(connection(), 0, display.screen().root, XCB_CURRENT_TIME,
                                                      XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                    nullptr));
        ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    }

    // Of that key, so far; the keyboard is grabbed.
    int pressesGrabbed(std::uint8_t key) {
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection())}) {
            if (event->response_type == XCB_KEY_PRESS &&
                reinterpret_cast<const xcb_key_press_event_t &>(*event).detail == key)
                ++grabbed;
        }
        return grabbed;
    }

    // Another press of a person's that is certainly seen has come by now, and so has all before it.
    void everythingIsSeen() const {
        int seen = 0;
        const StopKey other(*KeyCombination::parsed(u"F9"), [&seen] { ++seen; });
        constexpr std::uint8_t F9 = 75;
        personPresses({F9});
        EXPECT_TRUE(waitUntil([&seen] { return seen > 0; }));
        personReleases({F9});
        settle();
    }

    std::unique_ptr<StopKey> watch(const char16_t *keys = u"Ctrl+Shift+Escape") {
        auto key = std::make_unique<StopKey>(*KeyCombination::parsed(keys), [this] { ++presses; });
        EXPECT_TRUE(key->works());
        return key;
    }
    bool isSeen(int times) {
        return waitUntil([&] { return presses >= times; }) && presses == times;
    }

    xcb_connection_t *connection() const { return display.connection(); }

    Display display = std::move(*Display::open());
    const PersonsKeyboard person;
    int presses = 0;
    int grabbed = 0;
};

} // namespace

TEST_F(StopKeyTest, APersonsPressIsSeenEachTime) {
    const auto key = watch();
    personPresses({CONTROL, SHIFT, ESCAPE});
    EXPECT_TRUE(isSeen(1));
    personReleases({ESCAPE});
    personPresses({ESCAPE});
    EXPECT_TRUE(isSeen(2));
}

TEST_F(StopKeyTest, KeysThatAreHeldWhenTheWatchBeginsCount) {
    personPresses({CONTROL, SHIFT});
    const auto key = watch();
    personPresses({ESCAPE});
    EXPECT_TRUE(isSeen(1));
}

TEST_F(StopKeyTest, AnIncompleteCombinationIsNone) {
    const auto key = watch();
    personPresses({ESCAPE});
    personReleases({ESCAPE});
    personPresses({CONTROL, ESCAPE});
    personReleases({CONTROL, ESCAPE});
    personPresses({SHIFT, ESCAPE, CONTROL});
    everythingIsSeen();
    EXPECT_EQ(presses, 0);
}

TEST_F(StopKeyTest, OneMoreModifierDoesNotKeepItFromStopping) {
    const auto key = watch();
    personPresses({ALT, CONTROL, SHIFT, ESCAPE});
    EXPECT_TRUE(isSeen(1));
}

TEST_F(StopKeyTest, AProgramThatHasGrabbedTheKeyboardDoesNotHideIt) {
    const auto key = watch();
    grabKeyboard();
    personPresses({CONTROL, SHIFT, ESCAPE});
    EXPECT_TRUE(isSeen(1));
}

TEST_F(StopKeyTest, WhatAProgramPressesDoesNotCount) {
    const auto key = watch();
    programPresses({CONTROL, SHIFT, ESCAPE});
    personPresses({ESCAPE});
    everythingIsSeen();
    EXPECT_EQ(presses, 0) << "a program held the modifiers";
}

TEST_F(StopKeyTest, WhatAProgramLetsGoOfIsStillHeldByThePerson) {
    const auto key = watch();
    personPresses({CONTROL, SHIFT});
    programPresses({CONTROL});
    programPresses(XCB_KEY_RELEASE, CONTROL);
    personPresses({ESCAPE});
    EXPECT_TRUE(isSeen(1));
}

TEST_F(StopKeyTest, AKeyThatGetsItsSymbolLaterIsFound) {
    const StopKey key(*KeyCombination::parsed(u"Ctrl+Alt+F24"), [this] { ++presses; });
    EXPECT_FALSE(key.works());
    giveSymbol(SPARE, 0xffd5); // F24
    personPresses({CONTROL, ALT, SPARE});
    EXPECT_TRUE(isSeen(1));
    EXPECT_TRUE(key.works());
    giveSymbol(SPARE, 0);
}

TEST_F(StopKeyTest, AHeldKeyThatRepeatsCountsOnce) {
    const auto key = watch();
    grabKeyboard();
    personPresses({CONTROL, SHIFT, ESCAPE});
    EXPECT_TRUE(waitUntil([this] { return pressesGrabbed(ESCAPE) >= 3; })) << "it repeats";
    everythingIsSeen();
    EXPECT_EQ(presses, 1);
}

TEST_F(StopKeyTest, APressMayEndTheWatch) {
    std::unique_ptr<StopKey> key;
    key = std::make_unique<StopKey>(*KeyCombination::parsed(u"Ctrl+S"), [&] {
        ++presses;
        key.reset();
    });
    personPresses({CONTROL, LETTER_S});
    personReleases({LETTER_S});
    personPresses({LETTER_S});
    EXPECT_TRUE(isSeen(1));
    everythingIsSeen();
    EXPECT_EQ(presses, 1);
}

TEST_F(StopKeyTest, NothingIsSeenOnceItIsNotWanted) {
    auto key = watch();
    personPresses({CONTROL, SHIFT, ESCAPE});
    key.reset();
    everythingIsSeen();
    EXPECT_EQ(presses, 0);
}

TEST_F(StopKeyTest, AKeyThatNobodyHasIsUsable) {
    EXPECT_TRUE(stopKeyUsable(*KeyCombination::parsed(u"Ctrl+Shift+Escape")));
    EXPECT_TRUE(stopKeyUsable(*KeyCombination::parsed(u"Alt+Super+F7")));
}

TEST_F(StopKeyTest, AKeyThatAnotherProgramHasTakenIsSaid) {
    xcb_grab_key(connection(), 1, display.screen().root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, LETTER_S,
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    const Reply<xcb_get_input_focus_reply_t> answered(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    const auto taken = stopKeyUsable(*KeyCombination::parsed(u"Ctrl+Alt+S"));
    ASSERT_FALSE(taken);
    EXPECT_EQ(taken.error().code, STOP_KEY_TAKEN);
    EXPECT_EQ(taken.error().description, u"Another program has taken Ctrl+Alt+S: it acts on it, too."_s);
    EXPECT_TRUE(stopKeyUsable(*KeyCombination::parsed(u"Ctrl+Shift+S"))) << "with other modifiers it is free";
}

TEST_F(StopKeyTest, AKeyboardWithoutTheKeyIsSaid) {
    const auto usable = stopKeyUsable(*KeyCombination::parsed(u"Ctrl+F24"));
    ASSERT_FALSE(usable);
    EXPECT_EQ(usable.error().description, u"The keyboard has no Ctrl+F24."_s);
    EXPECT_FALSE(StopKey(*KeyCombination::parsed(u"Ctrl+F24"), [] {}).works());
}

TEST_F(StopKeyTest, AWaylandSessionHasNone) {
    const Variable wayland("WAYLAND_DISPLAY", "wayland-0");
    const Variable type("XDG_SESSION_TYPE", "wayland");
    const auto usable = stopKeyUsable(*KeyCombination::parsed(u"Ctrl+Shift+Escape"));
    ASSERT_FALSE(usable);
    EXPECT_EQ(usable.error().description, u"A Wayland session has no key that is seen in every program."_s);
    EXPECT_FALSE(StopKey(*KeyCombination::parsed(u"Ctrl+Shift+Escape"), [] {}).works());
}

TEST_F(StopKeyTest, WithoutADisplayThereIsNone) {
    const Variable none("DISPLAY", ":9999");
    EXPECT_FALSE(StopKey(*KeyCombination::parsed(u"Ctrl+Shift+Escape"), [] {}).works());
    EXPECT_FALSE(stopKeyUsable(*KeyCombination::parsed(u"Ctrl+Shift+Escape")));
    const InputWatch watch(InputWatch::What::programs, [] {});
}

TEST_F(StopKeyTest, ADisplayThatGoesAwayCostsNothingMore) {
    XServer server("640x480x24");
    const auto key = watch();
    const InputWatch input(InputWatch::What::programs, [] {});
    server.end(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return !key->works(); }));
    settle();
    const auto turns = [] {
        int count = 0;
        while (QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents) && count < 100)
            ++count;
        return count;
    };
    EXPECT_LT(turns(), 100) << "a connection that has ended is readable for ever";
}

TEST_F(StopKeyTest, EachKeyAndButtonThatAProgramPressesIsTold) {
    int inputs = 0;
    const InputWatch input(InputWatch::What::programs, [&inputs] { ++inputs; });
    programPresses({ESCAPE});
    programPresses(XCB_KEY_RELEASE, ESCAPE);
    EXPECT_TRUE(waitUntil([&] { return inputs == 1; }));
    programPresses(XCB_BUTTON_PRESS, 1);
    programPresses(XCB_BUTTON_RELEASE, 1);
    EXPECT_TRUE(waitUntil([&] { return inputs == 2; }));
    personPresses({LETTER_S});
    personReleases({LETTER_S});
    programPresses({ESCAPE});
    EXPECT_TRUE(waitUntil([&] { return inputs == 3; }));
    everythingIsSeen();
    EXPECT_EQ(inputs, 3) << "what a person presses is not";
}

TEST_F(StopKeyTest, WhoAsksForClicksHearsOfAPersonsOnly) {
    int clicks = 0;
    const InputWatch input(InputWatch::What::clicks, [&clicks] { ++clicks; });
    const PersonsPointer pointer;
    programPresses({ESCAPE});
    programPresses(XCB_KEY_RELEASE, ESCAPE);
    programPresses(XCB_BUTTON_PRESS, 1);
    programPresses(XCB_BUTTON_RELEASE, 1);
    personPresses({LETTER_S});
    personReleases({LETTER_S});
    pointer.press(1, true);
    pointer.press(1, false);
    EXPECT_TRUE(waitUntil([&] { return clicks == 1; }));
    everythingIsSeen();
    EXPECT_EQ(clicks, 1);
}
