// Prints the event log on a terminal, or as one JSON object a line for another program.
#pragma once
#include "app/cli/Output.h"
#include "controller/Event.h"

#include <QJsonObject>

namespace ombru {

// The event's text for a terminal: further lines stand in from the first, so that none passes for a line of ours, and
// of what a script gave back, when it is long, the beginning and the end; the log has all of it.
QString terminalText(const Event &event);

Colour colourOf(EventKind kind);
QJsonObject toJson(const Event &event);
QByteArray jsonLine(const Event &event);

} // namespace ombru
