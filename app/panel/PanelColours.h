// The colours of the panel, light and dark, and the style sheet made of them: the only place where they are numbers.
// Pure, but for what the desktop says of itself.
#pragma once
#include "app/panel/PanelLines.h"
#include "platform/ColourScheme.h"

#include <QColor>

class QPalette;

namespace ombru {

struct PanelColours {
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

    QColor dot(Severity severity) const;
};

const PanelColours &lightPanel();
const PanelColours &darkPanel();

// The ones that the desktop's owner wants; where it does not say, those that go with its own windows.
const PanelColours &panelColours(ColourScheme wanted, const QPalette &desktop);

QString panelStyle(const PanelColours &colours);

} // namespace ombru
