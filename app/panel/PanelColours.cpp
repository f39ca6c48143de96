#include "app/panel/PanelColours.h"

#include "look/Style.h"

namespace ombru {

using namespace Qt::StringLiterals;

QColor dotColour(const Colours &colours, Severity severity) {
    switch (severity) {
    case Severity::secondary:
        return colours.secondary;
    case Severity::waiting:
        return colours.waiting;
    case Severity::ready:
        return colours.ready;
    case Severity::broken:
        return colours.broken;
    }
    Q_UNREACHABLE();
}

QString panelStyle(const Colours &c) {
    static const auto SHEET = uR"(
#panel { background: %1; color: %2; }
#panel { border: 1px solid %3; }
QScrollArea, #lines { background: transparent; border: none; }
#footer { border: none; border-top: 1px solid %3; background: transparent; }
#footer QPushButton { color: %5; border-color: transparent; padding: 5px 6px; }
#footer QPushButton:focus { border: 2px solid %4; padding: 4px 5px; }
)"_s;
    return sharedStyle(c) +
           SHEET.arg(c.surface.name(), c.ink.name(), c.line.name(), c.accent.name(), c.inkQuiet.name());
}

} // namespace ombru
