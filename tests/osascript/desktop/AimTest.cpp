// Keys, clicks and changes of windows go only where the owner lets them.
#include "tests/osascript/desktop/AimFixture.h"
#include "tests/support/PersonsKeyboard.h"

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

constexpr int KEY_A = 0;
constexpr std::uint8_t SERVERS_KEY_A = 38;

// Keys that are held repeat every five milliseconds: as often as not while a window gets the focus.
class FastRepeat {
public:
    FastRepeat() { runProgram("xset r rate 5 200"); }
    ~FastRepeat() { runProgram("xset r rate 660 25"); }
    FastRepeat(const FastRepeat &) = delete;
    FastRepeat &operator=(const FastRepeat &) = delete;

    static bool repeats(std::uint8_t key) {
        const auto display = Display::open();
        const auto reply = Reply<xcb_get_keyboard_control_reply_t>(xcb_get_keyboard_control_reply(
            display->connection(), xcb_get_keyboard_control(display->connection()), nullptr));
        return (reply->auto_repeats[key / 8] >> key % 8 & 1) != 0;
    }
};

} // namespace

TEST_F(Aim, KeysReachNoWindowThatIsRefused) {
    const auto one = target();
    refuse(one);
    expectRefused(desktop->input().type(u"ab ü"_s, 0));
    expectRefused(desktop->input().type(u"s"_s, int(Modifier::command)));
    expectRefused(desktop->input().pressKey(KEY_A, 0));
    expectRefused(desktop->input().pressKey(KEY_A, int(Modifier::shift)));
    expectRefused(desktop->input().holdKey(KEY_A, true));
    expectRefused(desktop->input().holdModifier(Modifier::shift, true));
    refused = -1;
    ASSERT_TRUE(desktop->input().type(u"x"_s, 0));
    EXPECT_TRUE(waitUntil([&] { return one.text() == "x"; })) << one.text().toStdString();
    EXPECT_EQ(one.events(), "");
}

TEST_F(Aim, AWindowThatComesInBetweenGetsNoKeys) {
    const auto one = target();
    const auto two = target();
    refuse(two);
    focus(*desktop, one);
    const auto others = openDesktop();
    std::jthread meanwhile([&] {
        waitUntil([&] { return !one.text().isEmpty(); });
        focus(*others, two);
    });
    const auto text = u"the text goes on and on. "_s.repeated(80);
    Result<> typed;
    // A fast machine is through with one before that. The next one waits until all of it has been taken: the display
    // would do nothing else than keep what waits.
    for (qsizetype texts = 1; texts <= 100 && typed; ++texts) {
        typed = desktop->input().type(text, 0);
        EXPECT_TRUE(!typed || waitUntil([&] { return one.text().size() == texts * text.size(); }));
    }
    expectRefused(typed);
    meanwhile.join();
    EXPECT_FALSE(one.text().isEmpty());
    EXPECT_EQ(two.text(), "");
}

TEST_F(Aim, AWindowThatComesInAfterTheLookGetsNoKeysAndNoClick) {
    const auto one = target();
    const auto two = target();
    refuse(two);
    const auto others = openDesktop();
    watched = one.window.pid;
    afterLooks = [&] { focus(*others, two); };
    focus(*desktop, one);
    looks = 1;
    expectRefused(desktop->input().type(u"a"_s, 0));
    EXPECT_TRUE(desktop->windows().moveWindow(one.window.handle, two.window.position));
    focus(*desktop, one);
    looks = 2; // the place comes first
    expectRefused(desktop->input().click(two.middle(), Click::single, 0));
    refused = -1;
    focus(*desktop, two);
    ASSERT_TRUE(desktop->input().type(u"b"_s, 0));
    EXPECT_TRUE(waitUntil([&] { return two.text() == "b"; })) << two.text().toStdString();
    EXPECT_EQ(two.events(), "");
}

TEST_F(Aim, OneLookIsEnoughForSeveralKeys) {
    const auto one = target();
    const auto text = u"abcdefghijklmnop"_s.repeated(50);
    asked = 0;
    ASSERT_TRUE(desktop->input().type(text, 0));
    EXPECT_LE(asked, text.size() / 10);
    EXPECT_TRUE(waitUntil([&] { return one.text() == text.toUtf8(); }));
}

TEST_F(Aim, WhatIsHeldIsReleasedAlsoOverAWindowThatIsRefused) {
    const auto one = target();
    ASSERT_TRUE(desktop->input().holdModifier(Modifier::shift, true));
    refuse(one);
    ASSERT_TRUE(desktop->input().holdModifier(Modifier::shift, false));
    refused = -1;
    ASSERT_TRUE(desktop->input().pressKey(KEY_A, 0));
    EXPECT_TRUE(waitUntil([&] { return one.text() == "a"; })) << one.text().toStdString();
}

TEST_F(Aim, AKeyThatIsHeldGoesToNoWindowThatComesLater) {
    const FastRepeat fast;
    const auto one = target();
    const auto two = target();
    focus(*desktop, one);
    ASSERT_TRUE(desktop->input().holdKey(KEY_A, true));
    focus(*desktop, two);
    ASSERT_TRUE(desktop->input().type(u"x"_s, 0));
    EXPECT_TRUE(waitUntil([&] { return two.text().contains('x') && !one.text().isEmpty(); }));
    EXPECT_EQ(one.text(), "a");
    EXPECT_FALSE(two.text().contains('a')) << two.text().toStdString(); // at this rate a busy server repeats the x
    EXPECT_TRUE(desktop->input().holdKey(KEY_A, false));
}

TEST_F(Aim, ThePersonsKeyRepeatsAsBeforeAlsoWhileAScriptHoldsOne) {
    const FastRepeat fast;
    const PersonsKeyboard person;
    const auto one = target();
    for (const bool held : {true, false}) {
        ASSERT_TRUE(desktop->input().holdKey(KEY_A, held));
        const auto before = one.text().size();
        person.press(SERVERS_KEY_A, true);
        EXPECT_TRUE(waitUntil([&] { return one.text().size() > before + 3; })) << held;
        person.press(SERVERS_KEY_A, false);
    }
}

TEST_F(Aim, AKeyThatTheOwnerDoesNotLetRepeatStaysSo) {
    ASSERT_TRUE(FastRepeat::repeats(SERVERS_KEY_A));
    for (const bool repeats : {false, true}) {
        runProgram(repeats ? "xset r 38" : "xset -r 38");
        ASSERT_TRUE(desktop->input().holdKey(KEY_A, true));
        EXPECT_EQ(FastRepeat::repeats(SERVERS_KEY_A), repeats);
        ASSERT_TRUE(desktop->input().holdKey(KEY_A, false));
        EXPECT_EQ(FastRepeat::repeats(SERVERS_KEY_A), repeats);
    }
}

TEST_F(Aim, ClicksReachNoWindowThatIsRefusedNorItsFrame) {
    const auto one = target();
    refuse(one);
    const QPoint titleBar = one.window.position + QPoint(one.window.size.width() / 2, 5);
    for (const QPoint place : {one.middle(), titleBar}) {
        for (const auto click : {Click::single, Click::twice, Click::right})
            expectRefused(desktop->input().click(place, click, 0));
    }
    refused = -1;
    ASSERT_TRUE(desktop->input().click(one.middle(), Click::single, 0));
    EXPECT_TRUE(waitUntil([&] { return one.events().startsWith("press "); })) << one.events().toStdString();
    EXPECT_EQ(one.events().count('\n'), 1);
}

TEST_F(Aim, AMenuBelongsToWhoShowsIt) {
    const auto one = target();
    refused = QCoreApplication::applicationPid();
    {
        const Menu menu(QRect(one.middle(), QSize(40, 40)));
        expectRefused(desktop->input().type(u"a"_s, 0));
        expectRefused(desktop->input().click(one.middle() + QPoint(9, 9), Click::single, 0));
    }
    ASSERT_TRUE(desktop->input().type(u"b"_s, 0));
    EXPECT_TRUE(waitUntil([&] { return one.text() == "b"; })) << one.text().toStdString();
}

// The server gives keys to what is under the pointer, where that is within the window that has the keyboard.
TEST_F(Aim, APartOfAnotherProgramsUnderThePointerGetsNoKeys) {
    const auto one = target();
    const auto size = one.window.size;
    const Menu part(QRect(size.width() / 2 - 40, size.height() / 2 - 40, 80, 80), one.window.handle);
    const auto beside = one.window.position + QPoint(40, size.height() - 30);
    ASSERT_TRUE(desktop->input().click(beside, Click::single, 0));
    refused = QCoreApplication::applicationPid();
    ASSERT_TRUE(desktop->input().type(u"a"_s, 0));
    EXPECT_TRUE(waitUntil([&] { return one.text() == "a"; })) << one.text().toStdString();
    refused = -1;
    ASSERT_TRUE(desktop->input().click(one.middle(), Click::single, 0));
    refused = QCoreApplication::applicationPid();
    expectRefused(desktop->input().type(u"b"_s, 0));
    expectRefused(desktop->input().holdKey(KEY_A, true));
}

TEST_F(Aim, EveryWindowAroundTheInnermostTellsWhoseItIs) {
    const auto one = target();
    const auto size = one.window.size;
    const Menu around(QRect(size.width() / 2 - 60, size.height() / 2 - 60, 120, 120), one.window.handle, "Around");
    const Menu inner(QRect(10, 10, 100, 100), around.window());
    refusedClass = u"Around"_s;
    expectRefused(desktop->input().click(one.middle(), Click::single, 0));
    const auto beside = one.window.position + QPoint(40, size.height() - 30);
    ASSERT_TRUE(desktop->input().click(beside, Click::single, 0));
    inner.takeKeys();
    expectRefused(desktop->input().type(u"a"_s, 0));
    refusedClass = u"Another"_s;
    EXPECT_TRUE(desktop->input().type(u"b"_s, 0));
    EXPECT_TRUE(desktop->input().click(one.middle(), Click::single, 0));
    EXPECT_EQ(one.text(), "");
}

TEST_F(Aim, APartIsAlsoWhoseTheOthersOfItsProcessAre) {
    const auto one = target();
    const Managed known("Known");
    ASSERT_TRUE(waitUntil([&] { return windowTitled(*desktop, u"Known"_s).has_value(); }));
    focus(*desktop, one);
    const Menu part(QRect(one.window.size.width() / 2, one.window.size.height() / 2, 40, 40), one.window.handle);
    const auto place = one.middle() + QPoint(20, 20);
    refusedClass = u"Known"_s;
    expectRefused(desktop->input().click(place, Click::single, 0));
    refusedClass.clear();
    EXPECT_TRUE(desktop->input().click(place, Click::single, 0));
}

TEST_F(Aim, AWindowIsAlsoWhoseTheOthersOfItsProcessAre) {
    const auto one = target();
    const Managed known("Known");
    const Managed part("Part");
    const auto shown = focusWindow(*desktop, u"Part"_s);
    ASSERT_TRUE(desktop->input().type(u"a"_s, 0));
    refusedClass = u"Known"_s;
    expectRefused(desktop->input().type(u"a"_s, 0));
    expectRefused(desktop->windows().closeWindow(shown.handle));
    expectRefused(desktop->windows().bringToFront(shown.pid));
    expectRefused(desktop->windows().bringWindowToFront(shown.handle));
    focus(*desktop, one);
    EXPECT_TRUE(desktop->input().type(u"b"_s, 0)) << "another process";
}

// A number may be given again, to a window of somebody else's.
TEST_F(Aim, WhoHasTheKeyboardIsLookedAtAnewOnceThereAreNewWindows) {
    const auto one = target();
    std::optional<Menu> menu;
    watched = one.window.pid;
    looks = 1;
    afterLooks = [&] {
        runProgram("xprop -id " + QByteArray::number(one.window.handle) + " -f WM_CLASS 8s -set WM_CLASS Another");
        refusedClass = u"Another"_s;
        menu.emplace(QRect(one.middle(), QSize(40, 40)));
    };
    expectRefused(desktop->input().type(u"abc"_s, 0));
    EXPECT_TRUE(menu);
    EXPECT_EQ(one.text(), "");
}

TEST_F(Aim, AMenuThatOpensBetweenTwoKeysGetsNone) {
    const auto one = target();
    refused = QCoreApplication::applicationPid();
    watched = one.window.pid;
    const auto text = u"the text goes on and on. "_s.repeated(8);
    for (const int after : {1, 3}) {
        std::optional<Menu> menu;
        afterLooks = [&] { menu.emplace(QRect(one.middle(), QSize(40, 40))); };
        looks = after;
        expectRefused(desktop->input().type(text, 0));
        ASSERT_TRUE(menu);
    }
    ASSERT_TRUE(desktop->input().type(u"!"_s, 0));
    EXPECT_TRUE(waitUntil([&] { return one.text().endsWith('!'); }));
    EXPECT_TRUE(text.startsWith(QString::fromUtf8(one.text().chopped(1)))) << one.text().toStdString();
    EXPECT_GT(one.text().size(), 10);
    EXPECT_LT(one.text().size(), text.size() / 2);
}

TEST_F(Aim, AMenuThatMayBeReachedIsInNobodysWay) {
    const auto one = target();
    std::optional<Menu> menu;
    watched = one.window.pid;
    afterLooks = [&] { menu.emplace(QRect(one.middle(), QSize(40, 40))); };
    looks = 2;
    const auto text = u"the text goes on and on. "_s.repeated(8);
    ASSERT_TRUE(desktop->input().type(text, 0));
    EXPECT_TRUE(menu);
    EXPECT_TRUE(waitUntil([&] { return one.text() == text.toUtf8(); })) << one.text().toStdString();
}

TEST_F(Aim, NoWindowThatIsRefusedIsChanged) {
    const auto one = target();
    const auto handle = one.window.handle;
    const auto before = one.window;
    refuse(one);
    expectRefused(desktop->windows().moveWindow(handle, {7, 7}));
    expectRefused(desktop->windows().resizeWindow(handle, {300, 300}));
    expectRefused(desktop->windows().setMinimized(handle, true));
    expectRefused(desktop->windows().raiseWindow(handle));
    expectRefused(desktop->windows().closeWindow(handle));
    expectRefused(desktop->windows().bringToFront(before.pid));
    expectRefused(desktop->windows().setVisible(before.pid, false));
    const auto after = windowTitled(*desktop, before.title);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->position, before.position);
    EXPECT_EQ(after->size, before.size);
    EXPECT_FALSE(after->minimized);
    refused = -1;
    ASSERT_TRUE(desktop->windows().moveWindow(handle, {77, 77}));
    EXPECT_EQ(windowTitled(*desktop, before.title)->position, QPoint(77, 77));
}
