// Our own drawings of the menu bar's symbols, and of "power", at every size. Main thread, with a graphical application.
#pragma once
#include <QColor>
#include <QIcon>
#include <QPixmap>

namespace ombru {

// One of them in one colour, for our own windows; `size` in logical pixels.
QPixmap symbolPixmap(const QString &name, int size, const QColor &colour, qreal scale = 1);

// One for a bar whose colour nobody tells, at the sizes of such icons: in a tone that stands out from light and dark.
// `marked` has a dot at its lower right: the agent types and clicks.
QIcon symbolForBar(const QString &name, bool marked = false);

} // namespace ombru
