// Keys, clicks and changes of windows go only where the owner lets them.
#include "platform/linux/x11/Display.h"
#include "tests/support/DesktopModule.h"
#include "tests/support/PersonsKeyboard.h"

#include <atomic>

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

const Failure REFUSED{u"consent"_s, -1743, u"the owner's answer"_s};
constexpr int KEY_A = 0;
constexpr std::uint8_t SERVERS_KEY_A = 38;

class Aim : public testing::Test {
protected:
    // A window that notes what reaches it.
    struct Target {
        QString file;
        DesktopWindow window;
        std::unique_ptr<Companion> program;

        QByteArray text() const { return contents(file); }
        QByteArray events() const { return contents(file + u".events"_s); }
        QPoint middle() const { return window.position + QPoint(window.size.width(), window.size.height()) / 2; }
    };

    Target target() {
        const auto title = u"target-%1."_s.arg(++number);
        const auto file = scratch.path(title);
        Target made;
        made.file = file;
        made.program = startProgram(
            "'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" + file.toUtf8() + "' " + title.toUtf8(), "ours");
        made.window = focusWindow(*desktop, title);
        const auto listens = [&] { return QFile::exists(file + u".events"_s); };
        EXPECT_TRUE(waitUntil(listens));
        return made;
    }
    static void focus(Desktop &by, const Target &made) {
        const auto active = by.taskbar().activateWindow(made.window.handle);
        EXPECT_TRUE(active) << words(active);
    }
    void refuse(const Target &made) { refused = made.window.pid; }
    static void expectRefused(const Result<> &result) {
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, -1743) << words(result);
    }

    static inline int number = 0;
    Scratch scratch;
    std::atomic<qint64> refused = -1; // the process whose windows may not be reached
    QString refusedClass;             // or those that call themselves that
    std::atomic<int> asked = 0;       // how often
    qint64 watched = -1;              // the process whose windows are looked at
    int looks = 0;                    // how often before that happens
    std::function<void()> afterLooks; // between the last look and what is sent
    std::unique_ptr<Desktop> desktop = openDesktop(UNLIMITED, [this](const DesktopWindow &window) {
        ++asked;
        if (window.pid == watched && --looks == 0)
            afterLooks();
        const bool may =
            window.pid != refused &&
            (refusedClass.isEmpty() || (window.className != refusedClass && window.instance != refusedClass));
        return may ? Result<>() : std::unexpected(REFUSED);
    });
};

// A window past the window manager, as a menu is, of this very process; or in another one, as a part of it.
class Menu {
public:
    explicit Menu(QRect place, std::uint64_t within = 0) {
        const std::uint32_t past = 1;
        const auto parent = within ? xcb_window_t(within) : m_display->screen().root;
        xcb_create_window(m_display->connection(), XCB_COPY_FROM_PARENT, m_window, parent, std::int16_t(place.x()),
                          std::int16_t(place.y()), std::uint16_t(place.width()), std::uint16_t(place.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &past);
        xcb_map_window(m_display->connection(), m_window);
        done();
    }
    ~Menu() {
        xcb_destroy_window(m_display->connection(), m_window);
        done();
    }
    Menu(const Menu &) = delete;
    Menu &operator=(const Menu &) = delete;

private:
    void done() const {
        Reply<xcb_get_input_focus_reply_t>(
            xcb_get_input_focus_reply(m_display->connection(), xcb_get_input_focus(m_display->connection()), nullptr));
    }

    Result<Display> m_display = Display::open();
    xcb_window_t m_window = xcb_generate_id(m_display->connection());
};

// A window of this very process that the window manager knows under that name.
class Managed {
public:
    explicit Managed(const QByteArray &name) {
        auto *connection = m_display->connection();
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, m_display->screen().root, 0, 0, 200, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        const auto set = [&](xcb_atom_t property, const QByteArray &text) {
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, m_window, property, XCB_ATOM_STRING, 8,
                                std::uint32_t(text.size()), text.constData());
        };
        set(XCB_ATOM_WM_NAME, name);
        set(XCB_ATOM_WM_CLASS, name.toLower() + '\0' + name + '\0');
        xcb_map_window(connection, m_window);
        xcb_flush(connection);
    }

private:
    Result<Display> m_display = Display::open();
    xcb_window_t m_window = xcb_generate_id(m_display->connection());
};

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
