// The colours of our windows, light and dark: the only place where they are numbers. Pure, but for what the desktop
// says of itself.
#pragma once
#include "platform/ColourScheme.h"

#include <QColor>

class QPalette;

namespace ombru {

struct Colours {
    QColor surface;
    QColor line;       // separates
    QColor lineStrong; // the edge of a button
    QColor ink;
    QColor inkQuiet;
    QColor onInk;
    QColor accent; // focus
    QColor halt;   // the one solid red surface: what ends something
    QColor pressed;
    QColor secondary, waiting, ready, broken; // the dots
};

const Colours &lightColours();
const Colours &darkColours();

// The ones that the desktop's owner wants; where it does not say, those that go with its own windows.
const Colours &wantedColours(ColourScheme wanted, const QPalette &desktop);

} // namespace ombru
