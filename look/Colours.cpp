#include "look/Colours.h"

#include <QPalette>

namespace ombru {

const Colours &lightColours() {
    static const Colours colours{.surface = 0xffffff,
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

const Colours &darkColours() {
    static const Colours colours{.surface = 0x23272b,
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

const Colours &wantedColours(ColourScheme wanted, const QPalette &desktop) {
    if (wanted != ColourScheme::unknown)
        return wanted == ColourScheme::dark ? darkColours() : lightColours();
    constexpr int MIDDLE = 128;
    return desktop.color(QPalette::Window).lightness() < MIDDLE ? darkColours() : lightColours();
}

} // namespace ombru
