#include "osascript/desktop/Pointer.h"

#include <QRect>

#include <xcb/xtest.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

// What programs need to notice the pointer under them, and a press as one.
constexpr int AFTER_MOVE_MILLISECONDS = 20;
constexpr int PRESSED_MILLISECONDS = 30;
constexpr int BETWEEN_CLICKS_MILLISECONDS = 60;

// The release goes where the press went.
Result<> press(X11 &x11, Aim &aim, std::uint8_t button) {
    const auto send = [&](std::uint8_t what) {
        xcb_test_fake_input(x11.connection(), what, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(x11.connection());
    };
    if (auto pressed = aim.button([&] { send(XCB_BUTTON_PRESS); }); !pressed)
        return pressed;
    x11.pause(PRESSED_MILLISECONDS);
    send(XCB_BUTTON_RELEASE);
    return {};
}

QRect screenArea(const X11 &x11) {
    const auto size = Reply<xcb_get_geometry_reply_t>(
        xcb_get_geometry_reply(x11.connection(), xcb_get_geometry(x11.connection(), x11.root()), nullptr));
    return size ? QRect(0, 0, size->width, size->height) : QRect();
}

} // namespace

Result<> clickAt(X11 &x11, Aim &aim, QPoint at, applescript::Click click) {
    const QPoint point = at + x11.origin();
    const QRect area = screenArea(x11);
    if (const auto alive = x11.flush(); !alive)
        return alive;
    if (!area.contains(point))
        return std::unexpected(
            desktopFailure(CANNOT_DO_IT, u"The point {%1, %2} is not on the screen."_s.arg(at.x()).arg(at.y())));
    if (auto may = aim.place(point); !may)
        return may;
    xcb_test_fake_input(x11.connection(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, x11.root(),
                        static_cast<std::int16_t>(point.x()), static_cast<std::int16_t>(point.y()), 0);
    xcb_flush(x11.connection());
    x11.pause(AFTER_MOVE_MILLISECONDS);
    auto pressed = press(x11, aim, click == applescript::Click::right ? XCB_BUTTON_INDEX_3 : XCB_BUTTON_INDEX_1);
    if (pressed && click == applescript::Click::twice) {
        x11.pause(BETWEEN_CLICKS_MILLISECONDS);
        pressed = press(x11, aim, XCB_BUTTON_INDEX_1);
    }
    return pressed ? x11.flush() : pressed;
}

} // namespace ombru
