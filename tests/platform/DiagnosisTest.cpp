#include "platform/Diagnosis.h"

#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"
#include "tests/support/XServer.h"

#include <csignal>
#include <cstdlib>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

void expectBroken(const Check &check, const QString &part) {
    EXPECT_FALSE(check.works);
    EXPECT_TRUE(check.what.contains(part)) << check.what.toStdString();
    EXPECT_FALSE(check.remedy.isEmpty());
}

} // namespace

TEST(Diagnosis, AScreenThatCanBeReadWorks) {
    const XServer server("800x600x24");
    const Check check = await(screenCheck());
    EXPECT_TRUE(check.works);
    EXPECT_TRUE(check.what.startsWith(u"800 × 600 pixels on display :"_s)) << check.what.toStdString();
    EXPECT_TRUE(check.remedy.isEmpty());
}

TEST(Diagnosis, WithoutADisplayNeitherScreenNorInputWorks) {
    const Variable none("DISPLAY");
    expectBroken(await(screenCheck()), u"DISPLAY is not set"_s);
    expectBroken(await(inputCheck()), u"DISPLAY is not set"_s);
    const Variable wrong("DISPLAY", ":65000");
    expectBroken(await(screenCheck()), u"\":65000\" does not answer"_s);
    expectBroken(await(inputCheck()), u"\":65000\" does not answer"_s);
}

TEST(Diagnosis, AScreenThatCannotBeReadSaysWhy) {
    const XServer server("640x480x8");
    expectBroken(await(screenCheck()), u"true colours"_s);
}

TEST(Diagnosis, ADisplayThatDoesNotAnswerSaysSo) {
    const XServer server("640x480x24");
    server.signal(SIGSTOP);
    ManualClock clock;
    auto screen = screenCheck();
    auto input = inputCheck();
    clock.advance(std::chrono::seconds(15));
    expectBroken(await(std::move(screen)), u"does not answer"_s);
    expectBroken(await(std::move(input)), u"does not answer"_s);
}

TEST(Diagnosis, InputNeedsXtest) {
    {
        const XServer server("640x480x24");
        EXPECT_TRUE(await(inputCheck()).works);
    }
    const XServer server("640x480x24", {"-extension", "XTEST"});
    expectBroken(await(inputCheck()), u"no XTEST"_s);
}

TEST(Diagnosis, InAWaylandSessionWithoutAPortalNeitherScreenNorInputWorks) {
    const SessionBus nobody;
    const XServer server("640x480x24");
    ASSERT_EQ(std::system("xrandr --setmonitor XWAYLAND0 640/150x480/120+0+0 screen >/dev/null"), 0);
    expectBroken(await(screenCheck()), u"Wayland"_s);
    expectBroken(await(inputCheck()), u"Wayland"_s);
}

TEST(Diagnosis, NotificationsNeedAServerAndItIsNamed) {
    const SessionBus bus;
    expectBroken(await(notificationCheck()), u"No notification server"_s);
    const NotificationServerStandIn server(bus.address());
    EXPECT_EQ(await(notificationCheck()), (Check{true, u"stand-in 1.2"_s, {}}));
}

TEST(Diagnosis, WithoutABusThereAreNoNotifications) {
    const Variable none("DBUS_SESSION_BUS_ADDRESS");
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    QDBusConnection::disconnectFromBus(u"ombru.notifications"_s);
    expectBroken(await(notificationCheck()), u"No notification server"_s);
}
