#include "app/panel/PanelColours.h"

#include <QPalette>

namespace ombru {

using namespace Qt::StringLiterals;

const PanelColours &lightPanel() {
    static const PanelColours colours{.surface = 0xffffff,
                                      .line = 0xdbd8d0,
                                      .lineStrong = 0x87837a,
                                      .ink = 0x1a1c1e,
                                      .inkQuiet = 0x45494d,
                                      .onInk = 0xffffff,
                                      .accent = 0x0e5673,
                                      .halt = 0xb3291e,
                                      .pressed = 0xedebe5,
                                      .secondary = 0x8b8f94,
                                      .waiting = 0xc98300,
                                      .ready = 0x2b8a4b,
                                      .broken = 0xcc382b};
    return colours;
}

const PanelColours &darkPanel() {
    static const PanelColours colours{.surface = 0x23272b,
                                      .line = 0x30353a,
                                      .lineStrong = 0x7b828a,
                                      .ink = 0xecebe7,
                                      .inkQuiet = 0xbcbfc2,
                                      .onInk = 0x131517,
                                      .accent = 0x7fc6e2,
                                      .halt = 0xc5382c,
                                      .pressed = 0x0f1113,
                                      .secondary = 0x7d838a,
                                      .waiting = 0xe5a52e,
                                      .ready = 0x4cba74,
                                      .broken = 0xf0604f};
    return colours;
}

QColor PanelColours::dot(Severity severity) const {
    switch (severity) {
    case Severity::secondary:
        return secondary;
    case Severity::waiting:
        return waiting;
    case Severity::ready:
        return ready;
    case Severity::broken:
        return broken;
    }
    Q_UNREACHABLE();
}

const PanelColours &panelColours(ColourScheme wanted, const QPalette &desktop) {
    if (wanted != ColourScheme::unknown)
        return wanted == ColourScheme::dark ? darkPanel() : lightPanel();
    constexpr int MIDDLE = 128;
    return desktop.color(QPalette::Window).lightness() < MIDDLE ? darkPanel() : lightPanel();
}

// Sizes are of the desktop's own letters: a button's height grows with them.
QString panelStyle(const PanelColours &c) {
    static const auto SHEET = uR"(
#panel { background: %1; color: %2; }
#panel { border: 1px solid %3; }
QScrollArea, #lines { background: transparent; border: none; }
QLabel { color: %2; background: transparent; }
#footer { border: none; border-top: 1px solid %3; background: transparent; }
QPushButton { color: %2; background: transparent; border: 1px solid %4; border-radius: 6px; padding: 6px 11px; }
QPushButton:hover, QPushButton:pressed { background: %7; }
QPushButton:focus { border: 2px solid %5; padding: 5px 10px; }
QPushButton[weight="main"] { color: %6; background: %2; border-color: %2; }
QPushButton[weight="main"]:focus { border-color: %5; }
QPushButton[weight="halt"] { color: #ffffff; background: %8; border-color: %8; }
QPushButton[weight="halt"]:focus { border-color: %2; }
QPushButton[weight="halt"]:disabled { color: #ffffff; background: %4; border-color: %4; }
#footer QPushButton { color: %9; border-color: transparent; padding: 5px 6px; }
#footer QPushButton:focus { border: 2px solid %5; padding: 4px 5px; }
)"_s;
    return SHEET.arg(c.surface.name(), c.ink.name(), c.line.name(), c.lineStrong.name(), c.accent.name(),
                     c.onInk.name(), c.pressed.name(), c.halt.name(), c.inkQuiet.name());
}

} // namespace ombru
