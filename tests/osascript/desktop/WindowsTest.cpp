#include "tests/support/DesktopModule.h"
#include "tests/support/Variable.h"
#include "tests/support/XServer.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class Windows : public testing::Test {
protected:
    Windows() {
        m_one = startProgram("xterm -T " + one.toUtf8() + " -e cat", "xterm");
        focusWindow(*desktop, one);
        m_two = startProgram("xterm -T " + two.toUtf8() + " -e cat", "xterm");
        focusWindow(*desktop, two);
    }

    DesktopWindow window(const QString &title) {
        const auto found = windowTitled(*desktop, title);
        EXPECT_TRUE(found) << title.toStdString();
        return found.value_or(DesktopWindow());
    }

    QStringList titles() {
        QStringList result;
        const auto all = desktop->taskbar().windows();
        for (const auto &each : all.value_or(std::vector<DesktopWindow>()))
            result.append(each.title);
        return result;
    }

    static inline int number = 0;
    const QString one = u"one-%1."_s.arg(++number);
    const QString two = u"two-%1."_s.arg(number);
    std::unique_ptr<Desktop> desktop = openDesktop();
    std::unique_ptr<Companion> m_one;
    std::unique_ptr<Companion> m_two;
};

} // namespace

TEST_F(Windows, AreListedTopmostFirstWithTheirProcess) {
    EXPECT_EQ(titles(), QStringList({two, one}));
    const DesktopWindow top = window(two);
    EXPECT_TRUE(top.focused);
    EXPECT_FALSE(window(one).focused);
    EXPECT_EQ(top.className, u"XTerm"_s);
    EXPECT_EQ(top.instance, u"xterm"_s);
    EXPECT_TRUE(contents(u"/proc/%1/cmdline"_s.arg(top.pid)).contains(two.toUtf8()));
    EXPECT_FALSE(top.minimized);
}

TEST_F(Windows, AreMovedAndResizedWithTheirFrame) {
    const auto handle = window(one).handle;
    const QSize before = window(one).size;
    ASSERT_TRUE(desktop->windows().moveWindow(handle, {123, 77}));
    EXPECT_EQ(window(one).position, QPoint(123, 77));
    EXPECT_EQ(window(one).size, before);
    ASSERT_TRUE(desktop->windows().moveWindow(handle, window(one).position));
    EXPECT_EQ(window(one).position, QPoint(123, 77));
    ASSERT_TRUE(desktop->windows().resizeWindow(handle, before));
    EXPECT_EQ(window(one).size, before);
    ASSERT_TRUE(desktop->windows().resizeWindow(handle, before * 1.5));
    EXPECT_EQ(window(one).position, QPoint(123, 77));
    // A terminal keeps to whole characters.
    EXPECT_NEAR(window(one).size.width(), before.width() * 1.5, 16);
    EXPECT_NEAR(window(one).size.height(), before.height() * 1.5, 24);
}

TEST_F(Windows, AreRaisedAndGivenTheFocus) {
    ASSERT_TRUE(desktop->taskbar().activateWindow(window(one).handle));
    EXPECT_TRUE(window(one).focused);
    EXPECT_EQ(titles(), QStringList({one, two}));
    ASSERT_TRUE(desktop->windows().raiseWindow(window(two).handle));
    EXPECT_EQ(titles(), QStringList({two, one}));
}

TEST_F(Windows, ThatMayNotBeMinimisedSaySo) {
    // As a window manager says it of a window.
    runProgram("xprop -id " + QByteArray::number(qulonglong(window(one).handle)) +
               " -f _NET_WM_ALLOWED_ACTIONS 32a -set _NET_WM_ALLOWED_ACTIONS _NET_WM_ACTION_CLOSE");
    const auto minimised = desktop->windows().setMinimized(window(one).handle, true);
    ASSERT_FALSE(minimised);
    EXPECT_EQ(minimised.error().description, u"The window cannot be minimised."_s);
    EXPECT_FALSE(window(one).minimized);
}

TEST_F(Windows, AreMinimisedAndBroughtBack) {
    const auto handle = window(two).handle;
    ASSERT_TRUE(desktop->windows().setMinimized(handle, true));
    EXPECT_TRUE(window(two).minimized);
    ASSERT_TRUE(desktop->windows().setMinimized(handle, true));
    ASSERT_TRUE(desktop->windows().setMinimized(handle, false));
    EXPECT_FALSE(window(two).minimized);
    ASSERT_TRUE(desktop->windows().setMinimized(handle, true));
    ASSERT_TRUE(desktop->taskbar().activateWindow(handle));
    EXPECT_FALSE(window(two).minimized);
    EXPECT_TRUE(window(two).focused);
}

TEST_F(Windows, CloseWhenAsked) {
    const auto handle = window(two).handle;
    ASSERT_TRUE(desktop->windows().closeWindow(handle));
    EXPECT_TRUE(waitUntil([&] { return titles() == QStringList({one}); }));
    for (const auto &result :
         {desktop->windows().closeWindow(handle), desktop->taskbar().activateWindow(handle),
          desktop->windows().raiseWindow(handle), desktop->windows().setMinimized(handle, true),
          desktop->windows().moveWindow(handle, {}), desktop->windows().resizeWindow(handle, {9, 9})}) {
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, -1728);
    }
}

TEST_F(Windows, HaveTheirOriginAtThePrimaryMonitor) {
    runProgram("xrandr --setmonitor left 600/150x1080/270+0+0 screen");
    runProgram("xrandr --setmonitor '*right' 1320/330x1000/250+600+80 none");
    const auto handle = window(one).handle;
    ASSERT_TRUE(desktop->windows().moveWindow(handle, {50, 60}));
    EXPECT_EQ(window(one).position, QPoint(50, 60));
    const Scratch scratch;
    const QString place = scratch.path(u"place"_s);
    const QString program = u"/Absolute/ { a[n++] = $NF } /Relative/ { r[m++] = $NF } "
                            "END { print a[0] - r[0]; print a[1] - r[1] }"_s;
    const QString command = u"xwininfo -id %1 | awk '%2' >%3"_s.arg(handle).arg(program, place);
    ASSERT_EQ(std::system(qPrintable(command)), 0);
    EXPECT_EQ(contents(place).toStdString(), "650\n140\n");
    runProgram("xrandr --delmonitor left; xrandr --delmonitor right");
}

TEST(WindowsWithoutAManager, AreAFailureThatSaysSo) {
    const XServer server("640x480x24");
    const auto desktop = openDesktop();
    const auto windows = desktop->taskbar().windows();
    ASSERT_FALSE(windows);
    EXPECT_TRUE(windows.error().description.contains(u"window manager"_s));
}

TEST(DesktopWithoutADisplay, FailsInEveryOperation) {
    const test::Variable none("DISPLAY");
    const auto desktop = openDesktop();
    EXPECT_FALSE(desktop->taskbar().windows());
    EXPECT_FALSE(desktop->taskbar().activateWindow(1));
    EXPECT_FALSE(desktop->input().type(u"a"_s, 0));
    EXPECT_FALSE(desktop->input().pressKey(36, 0));
    EXPECT_FALSE(desktop->input().holdKey(36, true));
    EXPECT_FALSE(desktop->input().holdModifier(applescript::Modifier::shift, true));
    EXPECT_FALSE(desktop->input().click({1, 1}, applescript::Click::single, 0));
    EXPECT_FALSE(desktop->clipboard().text());
    const auto copied = desktop->clipboard().setText(u"a"_s);
    ASSERT_FALSE(copied);
    EXPECT_TRUE(copied.error().description.contains(u"DISPLAY is not set"_s));
}

TEST(DesktopWhoseDisplayGoes, Fails) {
    XServer server("640x480x24");
    const auto desktop = openDesktop();
    ASSERT_TRUE(desktop->input().holdKey(56, true));
    server.end(SIGKILL);
    EXPECT_FALSE(desktop->input().type(u"a"_s, 0));
    EXPECT_FALSE(desktop->input().click({1, 1}, applescript::Click::single, 0));
    EXPECT_FALSE(desktop->taskbar().windows());
}

TEST(Desktop, DoesNothingMoreOnceItWasRestored) {
    const auto desktop = openDesktop();
    desktop->restore();
    const auto typed = desktop->input().type(u"a"_s, 0);
    ASSERT_FALSE(typed);
    EXPECT_EQ(typed.error().code, -128);
}
