// Whether the screen may be seen and keys may be used, on real displays.

#include "platform/InputAccess.h"
#include "platform/ScreenAccess.h"
#include "tests/support/SessionBus.h"
#include "tests/support/XServer.h"

#include <csignal>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>

using namespace ombru;
using namespace ombru::test;

TEST(Access, IsGrantedOnADisplayThatCanBeReadAndTyped) {
    const XServer server("800x600x24");
    EXPECT_TRUE(screenCaptureAllowed());
    EXPECT_TRUE(requestScreenCapture());
    EXPECT_TRUE(inputAllowed());
    EXPECT_TRUE(requestInput());
}

TEST(Access, IsMissingWithoutADisplay) {
    const Variable none("DISPLAY");
    EXPECT_FALSE(screenCaptureAllowed());
    EXPECT_FALSE(inputAllowed());
    const Variable wrong("DISPLAY", ":65000");
    EXPECT_FALSE(screenCaptureAllowed());
    EXPECT_FALSE(requestScreenCapture());
    EXPECT_FALSE(inputAllowed());
    EXPECT_FALSE(requestInput());
}

TEST(Access, ToTheScreenIsMissingWhereItsPixelsCannotBeRead) {
    const XServer server("640x480x8");
    EXPECT_FALSE(screenCaptureAllowed());
    EXPECT_TRUE(inputAllowed());
}

TEST(Access, ToTheKeyboardIsMissingWithoutXtest) {
    const XServer server("640x480x24", {"-extension", "XTEST"});
    EXPECT_TRUE(screenCaptureAllowed());
    EXPECT_FALSE(inputAllowed());
}

TEST(Access, IsMissingInAWaylandSessionWithoutAPortal) {
    const SessionBus nobody;
    const XServer server("640x480x24");
    ASSERT_EQ(std::system("xrandr --setmonitor XWAYLAND0 640/150x480/120+0+0 screen >/dev/null"), 0);
    EXPECT_FALSE(screenCaptureAllowed());
    EXPECT_FALSE(inputAllowed());
}

TEST(Access, IsMissingWhileTheDisplayDoesNotAnswerAndIsBackWithIt) {
    const XServer server("640x480x24");
    server.signal(SIGSTOP);
    auto screen = std::async(std::launch::async, screenCaptureAllowed);
    EXPECT_FALSE(inputAllowed());
    EXPECT_FALSE(screen.get());
    server.signal(SIGCONT);
    EXPECT_TRUE(screenCaptureAllowed());
    EXPECT_TRUE(inputAllowed());
}

TEST(Access, IsMissingWhenTheDisplayHasGone) {
    XServer server("640x480x24");
    server.end(SIGKILL);
    EXPECT_FALSE(screenCaptureAllowed());
    EXPECT_FALSE(inputAllowed());
}
