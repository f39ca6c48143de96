// The panel in the colours of our windows. Pure.
#pragma once
#include "app/panel/PanelLines.h"
#include "look/Colours.h"

namespace ombru {

QColor dotColour(const Colours &colours, Severity severity);

QString panelStyle(const Colours &colours);

} // namespace ombru
