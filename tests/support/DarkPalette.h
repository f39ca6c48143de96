// A desktop whose own windows are dark, for pictures of ours.
#pragma once
#include "look/Colours.h"

#include <QPalette>

namespace ombru::test {

inline QPalette darkPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, darkColours().surface);
    palette.setColor(QPalette::WindowText, darkColours().ink);
    return palette;
}

} // namespace ombru::test
