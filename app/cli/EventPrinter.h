// Prints the event log on a terminal, or as one JSON object a line for another program.
#pragma once
#include "app/cli/Output.h"
#include "controller/Event.h"

#include <QJsonObject>

namespace ombru {

Colour colourOf(EventKind kind);
QJsonObject toJson(const Event &event);
QByteArray jsonLine(const Event &event);

} // namespace ombru
