#include "platform/Diagnosis.h"

#include "base/Background.h"
#include "platform/Screenshot.h"
#include "platform/linux/services/NotificationServer.h"
#include "platform/linux/wayland/PortalInput.h"
#include "platform/linux/wayland/PortalScreen.h"
#include "platform/linux/wayland/WaylandSession.h"
#include "platform/linux/x11/TestExtension.h"

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr Clock::Duration ANSWERING = std::chrono::seconds(2); // of a display; the portal asks others
constexpr std::chrono::seconds PORTAL_LIMIT(10);
constexpr Clock::Duration PORTAL_ANSWERING = std::chrono::seconds(15);

QString displayName() {
    return qEnvironmentVariable("DISPLAY");
}

Check noDisplay(const Failure &failure) {
    return {false, failure.description,
            u"Run ombru in a desktop session on X11, or point DISPLAY (and XAUTHORITY) at one."_s};
}

Check noAnswer() {
    return {false, u"The display %1 does not answer."_s.arg(displayName()), u"Log out of the desktop and in again."_s,
            false};
}

Check checkPortalScreen() {
    const auto picture = portalPicture(PORTAL_LIMIT);
    if (!picture)
        return {false,
                u"In a Wayland session only the desktop portal shows the screen. "_s + picture.error().description,
                portalPictureRemedy(picture.error())};
    return {true, u"%1 × %2 pixels through the desktop portal"_s.arg(picture->width).arg(picture->height), {}};
}

Check checkScreen() {
    const auto display = Display::open();
    if (!display)
        return noDisplay(display.error());
    const QSize size = display->primaryMonitor().size();
    const auto taken = takeScreenshot(std::max({size.width(), size.height(), 1}));
    if (!taken)
        return {false, taken.error().description, u"Log in to a desktop session on X11 (\"Xorg\")."_s};
    const auto &picture = taken->picture;
    return {true, u"%1 × %2 pixels on display %3"_s.arg(picture.width).arg(picture.height).arg(displayName()), {}};
}

Check checkPortalInput() {
    const QString needed = portalInputRemedy();
    const QString permission = needed.isEmpty() ? QString() : u" For the permission to use them here: "_s + needed;
    return {false,
            u"In a Wayland session the keys and clicks of scripts reach only programs that use X11, and which one gets "
            "them cannot be told: what you refuse an application does not bind them there."_s,
            u"Log in to a desktop session on X11 (\"Xorg\")."_s + permission};
}

Check checkInput() {
    const auto display = Display::open();
    if (!display)
        return noDisplay(display.error());
    if (!hasTestExtension(*display))
        return {false, u"Display %1 does not accept keys and clicks from programs (no XTEST)."_s.arg(displayName()),
                u"Start the X server with its XTEST extension."_s};
    return {true, u"keys and clicks on display %1"_s.arg(displayName()), {}};
}

Task<Check> checked(Check (*onDisplay)(), Check (*throughPortal)()) {
    const auto wayland = co_await backgroundWithin(ANSWERING, {}, isWaylandSession);
    if (!wayland)
        co_return noAnswer();
    const auto limit = *wayland ? PORTAL_ANSWERING : ANSWERING;
    co_return (co_await backgroundWithin(limit, {}, *wayland ? throughPortal : onDisplay)).value_or(noAnswer());
}

} // namespace

Task<Check> screenCheck() {
    return checked(checkScreen, checkPortalScreen);
}

Task<Check> inputCheck() {
    return checked(checkInput, checkPortalInput);
}

Task<Check> notificationCheck() {
    const auto server = co_await NotificationServer::find();
    if (!server)
        co_return Check{false, u"No notification server answers on the session bus."_s,
                        u"Nothing else needs it. To see notifications, install and start one, such as dunst."_s};
    const QDBusMessage reply = co_await NotificationServer::call(*server, u"GetServerInformation"_s, QVariantList());
    const QVariantList about = reply.arguments();
    const QString name = reply.type() == QDBusMessage::ReplyMessage ? about.value(0).toString() : QString();
    const QString version = name.isEmpty() ? QString() : about.value(2).toString();
    const QString shown = u"%1 %2"_s.arg(name, version).trimmed();
    co_return Check{true, shown.isEmpty() ? u"a notification server"_s : shown, {}};
}

} // namespace ombru
