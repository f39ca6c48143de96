#include "platform/Screenshot.h"

#include "agent/Screen.h"
#include "picture/PictureFile.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"
#include "tests/support/XServer.h"

#include <QDir>
#include <QRect>
#include <QTemporaryDir>

#include <csignal>
#include <cstdlib>
#include <thread>
#include <xcb/xcb.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

void run(const char *command) {
    ASSERT_EQ(std::system((command + std::string(" >/dev/null")).c_str()), 0) << command;
}

void paintRoot(const char *colour) {
    run(qPrintable(u"xsetroot -solid '%1'"_s.arg(QString::fromLatin1(colour))));
}

std::uint32_t middle(const Picture &picture) {
    return picture.row(picture.height / 2)[picture.width / 2] & 0xffffff;
}

// In points; empty when there is no display.
QSize screenSize() {
    const auto smallest = takeScreenshot(1);
    return smallest ? smallest->points : QSize();
}

Result<Picture> take(int longerSide) {
    const auto taken = takeScreenshot(longerSide);
    if (!taken)
        return std::unexpected(taken.error());
    return taken->picture;
}

// The primary monitor, pixel for pixel.
Result<Picture> takeAsItIs() {
    const QSize size = screenSize();
    return take(std::max({size.width(), size.height(), 1}));
}

QSize sizeOf(const Result<Picture> &picture) {
    return picture ? QSize(picture->width, picture->height) : QSize();
}

// A window without a frame, of one colour, that is on the screen once this is made.
class ColouredWindow {
public:
    ColouredWindow(QRect place, std::uint32_t colour) : m_connection(xcb_connect(nullptr, nullptr), xcb_disconnect) {
        auto *connection = m_connection.get();
        const auto *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        const auto window = xcb_generate_id(connection);
        const std::uint32_t values[] = {colour, 1}; // background, no window manager
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, static_cast<std::int16_t>(place.x()),
                          static_cast<std::int16_t>(place.y()), static_cast<std::uint16_t>(place.width()),
                          static_cast<std::uint16_t>(place.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_generic_error_t *error = xcb_request_check(connection, xcb_map_window_checked(connection, window));
        EXPECT_EQ(error, nullptr);
    }

private:
    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t *)> m_connection;
};

} // namespace

TEST(Screenshot, ShowsWhatIsOnTheScreen) {
    const XServer server("800x600x24");
    paintRoot("#3366cc");
    const auto picture = takeAsItIs();
    ASSERT_TRUE(picture);
    EXPECT_EQ(sizeOf(picture), QSize(800, 600));
    EXPECT_EQ(middle(*picture), 0x3366ccU);
    EXPECT_EQ(screenSize(), QSize(800, 600));
}

TEST(Screenshot, WorksWithoutSharedMemory) {
    const XServer server("3001x1003x24", {"-extension", "MIT-SHM"});
    paintRoot("#3366cc");
    const auto picture = takeAsItIs();
    ASSERT_TRUE(picture);
    EXPECT_EQ(sizeOf(picture), QSize(3001, 1003));
    EXPECT_EQ(middle(*picture), 0x3366ccU);
    EXPECT_EQ(picture->row(1002)[3000] & 0xffffff, 0x3366ccU);
}

TEST(Screenshot, WorksWithoutMonitorsOfItsOwn) {
    const XServer server("640x400x24", {"-extension", "RANDR"});
    EXPECT_EQ(sizeOf(takeAsItIs()), QSize(640, 400));
}

TEST(Screenshot, WorksWithSixteenBitColours) {
    const XServer server("801x600x16");
    paintRoot("#ff8000");
    const auto picture = takeAsItIs();
    ASSERT_TRUE(picture);
    const std::uint32_t colour = middle(*picture);
    EXPECT_EQ(colour >> 16, 0xffU);
    EXPECT_NEAR(static_cast<int>(colour >> 8 & 0xff), 0x80, 8);
    EXPECT_EQ(colour & 0xff, 0U);
}

TEST(Screenshot, EverythingIsInItsPlaceHoweverThePixelsCome) {
    for (const auto &[screen, arguments] : {std::pair<QByteArray, QByteArrayList>("803x1201x24", {}),
                                            {"803x1201x24", {"-extension", "MIT-SHM"}},
                                            {"803x1201x16", {}},
                                            {"803x1201x16", {"-extension", "MIT-SHM"}}}) {
        const XServer server(screen, arguments);
        const ColouredWindow top({0, 0, 5, 3}, 0xffff), left({0, 600, 7, 1}, 0xffff),
            bottom({700, 1200, 103, 1}, 0xffff);
        const auto picture = takeAsItIs();
        ASSERT_TRUE(picture);
        const auto lit = [&](int x, int y) { return (picture->row(y)[x] & 0xff) != 0; };
        EXPECT_TRUE(lit(0, 0) && lit(4, 2) && lit(0, 600) && lit(6, 600) && lit(700, 1200) && lit(802, 1200));
        EXPECT_FALSE(lit(5, 0) || lit(0, 3) || lit(0, 599) || lit(0, 601) || lit(7, 600) || lit(699, 1200) ||
                     lit(802, 1199));
    }
}

TEST(Screenshot, ADisplayWithAPaletteIsAFailureThatSaysSo) {
    const XServer server("640x480x8");
    const auto picture = takeAsItIs();
    ASSERT_FALSE(picture);
    EXPECT_TRUE(picture.error().description.contains(u"true colours"_s));
}

TEST(Screenshot, TakesThePrimaryMonitorWhereverItIs) {
    const XServer server("1600x600x24");
    paintRoot("#112233");
    run("xrandr --setmonitor left 600/150x600/150+0+0 screen");
    run("xrandr --setmonitor '*right' 1000/250x500/120+600+100 none");
    EXPECT_EQ(sizeOf(takeAsItIs()), QSize(1000, 500));
    EXPECT_EQ(screenSize(), QSize(1000, 500));
}

TEST(Screenshot, TakesOnlyWhatIsOnThePrimaryMonitor) {
    const XServer server("1000x400x24");
    paintRoot("#000000");
    run("xrandr --setmonitor left 400/100x400/100+0+0 screen");
    run("xrandr --setmonitor '*right' 600/150x300/80+400+100 none");
    const ColouredWindow window({400, 100, 600, 300}, 0x00ff00);
    const auto picture = takeAsItIs();
    ASSERT_TRUE(picture);
    for (const auto [x, y] : {std::pair(0, 0), std::pair(599, 0), std::pair(0, 299), std::pair(599, 299)})
        EXPECT_EQ(picture->row(y)[x] & 0xffffff, 0x00ff00U) << x << "," << y;
}

TEST(Screenshot, WithoutAPrimaryMonitorTakesTheFirst) {
    const XServer server("1000x400x24");
    run("xrandr --setmonitor only 300/80x200/50+500+100 screen");
    EXPECT_EQ(sizeOf(takeAsItIs()), QSize(300, 200));
}

TEST(Screenshot, AWaylandSessionIsAFailureThatSaysSoRatherThanABlackPicture) {
    const SessionBus nobody;
    const XServer server("640x480x24");
    run("xrandr --setmonitor XWAYLAND0 640/150x480/120+0+0 screen");
    const auto picture = takeAsItIs();
    ASSERT_FALSE(picture);
    EXPECT_TRUE(picture.error().description.contains(u"Wayland"_s));
}

TEST(Screenshot, AnEightKMonitorWorks) {
    const XServer server("7680x4320x24");
    paintRoot("#804020");
    const QTemporaryDir directory;
    const auto shot = await(Screen::capture(directory.path(), 3));
    ASSERT_TRUE(shot);
    EXPECT_EQ(shot->size, QSize(1568, 882));
    const auto file = readPng(shot->file);
    ASSERT_TRUE(file);
    EXPECT_EQ(middle(*file), 0x804020U);
    EXPECT_EQ(shot->points, QSize(7680, 4320));
}

TEST(Screenshot, WithoutADisplayThereIsAFailure) {
    const QByteArray before = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    const auto picture = takeAsItIs();
    ASSERT_FALSE(picture);
    EXPECT_TRUE(picture.error().description.contains(u"DISPLAY is not set"_s));
    EXPECT_TRUE(screenSize().isEmpty());
    qputenv("DISPLAY", ":65000");
    EXPECT_FALSE(takeAsItIs());
    qputenv("DISPLAY", "not a display");
    EXPECT_FALSE(takeAsItIs());
    qputenv("DISPLAY", before);
}

TEST(Screenshot, ADisplayThatHasGoneIsAFailure) {
    XServer server("640x480x24");
    ASSERT_TRUE(takeAsItIs());
    server.end(SIGKILL);
    EXPECT_FALSE(takeAsItIs());
    const QTemporaryDir directory;
    const auto shot = await(Screen::capture(directory.path(), 1));
    ASSERT_FALSE(shot);
    EXPECT_EQ(shot.error().code, 1);
    EXPECT_EQ(shot.error().domain, u"screen"_s);
    EXPECT_TRUE(QDir(directory.path()).isEmpty());
}

TEST(Screenshot, ADisplayThatDiesWhileItIsAskedIsAFailure) {
    XServer server("640x480x24");
    server.signal(SIGSTOP);
    std::optional<Result<Picture>> picture;
    std::thread taker([&] { picture.emplace(takeAsItIs()); });
    server.end(SIGKILL);
    taker.join();
    ASSERT_TRUE(picture);
    EXPECT_FALSE(*picture);
}

TEST(Screenshot, ADisplayThatDiesInTheMiddleOfItIsAFailure) {
    for (int round = 0; round < 5; ++round) {
        XServer server("1920x1080x24");
        std::atomic<int> taken = 0;
        std::thread taker([&] {
            while (takeAsItIs())
                ++taken;
        });
        while (taken < 1 + round)
            std::this_thread::yield();
        server.end(SIGKILL);
        taker.join();
        EXPECT_GE(taken, 1 + round);
    }
}
