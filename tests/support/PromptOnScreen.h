// The window that asks for consent, in a private desktop, worked as its owner would: by pointer.
#pragma once
#include "tests/support/DesktopModule.h"

#include <QPoint>

namespace ombru::test {

// On the screen; of the window that is open.
inline QPoint placeOfAllow(Desktop &desktop, const QString &title = QStringLiteral("ombru: allow control of")) {
    constexpr QPoint FROM_CORNER(50, 30);
    const auto window = windowTitled(desktop, title);
    return window ? window->position + QPoint(window->size.width(), window->size.height()) - FROM_CORNER : QPoint();
}

// Comes from outside and clicks. The window does not listen in its first second, so once may not be enough.
inline void clickAllow(Desktop &desktop, const QString &title = QStringLiteral("ombru: allow control of")) {
    const auto place = placeOfAllow(desktop, title);
    if (place.isNull())
        return;
    runProgram("xdotool mousemove 2 2");
    EXPECT_TRUE(desktop.input().click(place, applescript::Click::single, 0));
}

} // namespace ombru::test
