#include "tests/support/DesktopModule.h"

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

class Pointer : public testing::Test {
protected:
    Pointer() {
        static int number = 0;
        const QString title = u"target %1."_s.arg(++number);
        m_program = startProgram("'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" +
                                     m_scratch.path(u"text"_s).toUtf8() + "' '" + title.toUtf8() + "'",
                                 "qt6-qpa-plugins");
        const auto window = focusWindow(*desktop, title);
        EXPECT_TRUE(desktop->windows().moveWindow(window.handle, {100, 100}));
    }

    void expectClicks(const QByteArray &expected) {
        const auto events = [&] {
            QByteArray clicks;
            for (const QByteArray &line : contents(m_scratch.path(u"text.events"_s)).split('\n'))
                if (line.startsWith("press") || line.startsWith("double"))
                    clicks += line + '\n';
            return clicks;
        };
        waitUntil([&] { return events() == expected; });
        EXPECT_EQ(events().toStdString(), expected.toStdString());
    }

    std::unique_ptr<Desktop> desktop = openDesktop();
    Scratch m_scratch;
    std::unique_ptr<Companion> m_program;
};

} // namespace

TEST_F(Pointer, ClicksOnceTwiceAndRight) {
    ASSERT_TRUE(desktop->input().click({300, 200}, Click::single, 0));
    ASSERT_TRUE(desktop->input().click({400, 220}, Click::right, 0));
    ASSERT_TRUE(desktop->input().click({350, 300}, Click::twice, 0));
    expectClicks("press 1 300,200\npress 2 400,220\npress 1 350,300\ndouble 1 350,300\n");
}

TEST_F(Pointer, ClicksWithModifiersAndLetsThemGo) {
    const int both = static_cast<int>(Modifier::command) | static_cast<int>(Modifier::shift);
    ASSERT_TRUE(desktop->input().click({300, 200}, Click::single, both));
    ASSERT_TRUE(desktop->input().click({400, 200}, Click::single, 0));
    expectClicks("press Ctrl+Shift+1 300,200\npress 1 400,200\n");
}

TEST_F(Pointer, CountsFromThePrimaryMonitor) {
    runProgram("xrandr --setmonitor left 100/25x1080/270+0+0 screen");
    runProgram("xrandr --setmonitor '*right' 1820/450x1000/250+100+80 none");
    ASSERT_TRUE(desktop->input().click({300, 200}, Click::single, 0));
    ASSERT_TRUE(desktop->input().click({-10, 5}, Click::single, 0)); // on the monitor to the left
    runProgram("xrandr --delmonitor left; xrandr --delmonitor right");
    expectClicks("press 1 400,280\n");
}

TEST_F(Pointer, OutsideTheScreenIsAFailure) {
    for (const QPoint at : {QPoint(5000, 5), QPoint(5, 5000), QPoint(-1, 5), QPoint(5, -1)}) {
        const auto clicked = desktop->input().click(at, Click::single, 0);
        ASSERT_FALSE(clicked);
        EXPECT_TRUE(clicked.error().description.contains(u"is not on the screen"_s));
    }
}
