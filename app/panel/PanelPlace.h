// Where the panel opens. Pure; any thread.
#pragma once
#include <QRect>

namespace ombru {

// The upper left corner for a panel of that size, in the same coordinates as the rectangles. `screen` is the monitor
// that the icon is on, `free` the part of it that the desktop's own bars leave. Without an icon's place (an empty
// rectangle) it is the right corner next to the bar; at the top where there is none.
QPoint panelPlace(const QRect &icon, const QSize &panel, const QRect &screen, const QRect &free);

} // namespace ombru
