// One line of the event log and what follows from its kind. Plain values, any thread.
#pragma once
#include "controller/TaskFact.h"
#include "platform/SystemLog.h"

#include <QString>

#include <optional>

namespace ombru {

enum class EventKind { user, call, heard, said, rule, dim, claude, code, result, good, bad, warn };

struct Event {
    EventKind kind = EventKind::dim;
    QString text;
    double time = 0;    // seconds since 1970
    TaskFact fact = {}; // NOLINT(readability-redundant-member-init): left out where there is none

    bool operator==(const Event &) const = default;
};

QString kindName(EventKind kind);
std::optional<EventKind> kindNamed(const QString &name);
LogLevel logLevel(EventKind kind);
bool updatesLastEvent(EventKind kind);
bool isForwarded(EventKind kind); // goes to the web page

} // namespace ombru
