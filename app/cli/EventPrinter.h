// Prints the event log on a terminal, or as one JSON object a line for another program.
#pragma once
#include "app/cli/Terminal.h"
#include "controller/Event.h"

namespace ombru {

Colour colourOf(EventKind kind);
QByteArray jsonLine(const Event &event);

} // namespace ombru
