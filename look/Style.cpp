#include "look/Style.h"

namespace ombru {

using namespace Qt::StringLiterals;

// Sizes are of the desktop's own letters: a button's height grows with them.
QString sharedStyle(const Colours &c) {
    static const auto SHEET = uR"(
QLabel { color: %1; background: transparent; }
QPushButton { color: %1; background: transparent; border: 1px solid %3; border-radius: 6px; padding: 6px 11px; }
QPushButton:hover, QPushButton:pressed { background: %6; }
QPushButton:focus { border: 2px solid %4; padding: 5px 10px; }
QPushButton:disabled { color: %3; background: transparent; border-color: %2; }
QPushButton[weight="main"], QPushButton:default { color: %5; background: %1; border-color: %1; }
QPushButton[weight="main"]:focus, QPushButton:default:focus { border-color: %4; }
QPushButton[weight="main"]:disabled { color: %5; background: %3; border-color: %3; }
QPushButton[weight="halt"] { color: #ffffff; background: %7; border-color: %7; }
QPushButton[weight="halt"]:focus { border-color: %1; }
QPushButton[weight="halt"]:disabled { color: #ffffff; background: %3; border-color: %3; }
)"_s;
    return SHEET.arg(c.ink.name(), c.line.name(), c.lineStrong.name(), c.accent.name(), c.onInk.name(),
                     c.pressed.name(), c.halt.name());
}

QString windowStyle(const Colours &c) {
    static const auto SHEET = uR"(
QWidget { background: %1; color: %2; }
QLabel[quiet="true"] { color: %3; }
QAbstractItemView { border: 1px solid %4; border-radius: 6px; gridline-color: %4; outline: none;
                    selection-background-color: %6; selection-color: %2; }
QAbstractItemView:focus { border: 1px solid %5; }
QListView::item { padding: 7px 10px; border-left: 3px solid %1; }
QListView::item:selected { background: %6; color: %2; border-left: 3px solid %5; }
QTableView::item { padding: 4px 8px; }
QHeaderView::section { background: %1; color: %3; border: none; border-bottom: 1px solid %4; padding: 6px 8px; }
QToolTip { background: %1; color: %2; border: 1px solid %4; }
)"_s;
    return SHEET.arg(c.surface.name(), c.ink.name(), c.inkQuiet.name(), c.line.name(), c.accent.name(),
                     c.pressed.name()) +
           sharedStyle(c);
}

} // namespace ombru
