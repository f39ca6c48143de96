#include "app/panel/PanelPlace.h"

#include <algorithm>

namespace ombru {

namespace {

constexpr int GAP = 4;  // pixels between the icon and the panel
constexpr int EDGE = 8; // and between the panel and the edge of the screen

// What is wider than there is room for begins at the left.
int within(int wanted, int least, int most) {
    return std::max(least, std::min(wanted, most));
}

} // namespace

QPoint panelPlace(const QRect &icon, const QSize &panel, const QRect &screen, const QRect &free) {
    const int right = free.right() + 1 - panel.width() - EDGE;
    const int top = free.top() + EDGE;
    const int bottom = free.bottom() + 1 - panel.height() - EDGE;
    if (icon.isEmpty()) {
        const bool barIsBelow = free.bottom() < screen.bottom() && free.top() == screen.top();
        return {within(right, free.left() + EDGE, right), barIsBelow ? within(bottom, top, bottom) : top};
    }
    const bool iconIsAbove = icon.center().y() < screen.center().y();
    const int beside = iconIsAbove ? icon.bottom() + 1 + GAP : icon.top() - GAP - panel.height();
    return {within(icon.center().x() - panel.width() / 2, free.left() + EDGE, right),
            within(beside, free.top() + (iconIsAbove ? 0 : EDGE), free.bottom() + 1 - panel.height())};
}

} // namespace ombru
