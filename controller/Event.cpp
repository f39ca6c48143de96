#include "controller/Event.h"

namespace ombru {

using namespace Qt::StringLiterals;

QString kindName(EventKind kind) {
    switch (kind) {
    case EventKind::user:
        return u"user"_s;
    case EventKind::call:
        return u"call"_s;
    case EventKind::heard:
        return u"heard"_s;
    case EventKind::said:
        return u"said"_s;
    case EventKind::rule:
        return u"rule"_s;
    case EventKind::dim:
        return u"dim"_s;
    case EventKind::claude:
        return u"claude"_s;
    case EventKind::code:
        return u"code"_s;
    case EventKind::result:
        return u"result"_s;
    case EventKind::good:
        return u"good"_s;
    case EventKind::bad:
        return u"bad"_s;
    case EventKind::warn:
        return u"warn"_s;
    }
    Q_UNREACHABLE();
}

std::optional<EventKind> kindNamed(const QString &name) {
    for (int kind = 0; kind <= static_cast<int>(EventKind::warn); ++kind) {
        if (kindName(static_cast<EventKind>(kind)) == name)
            return static_cast<EventKind>(kind);
    }
    return {};
}

LogLevel logLevel(EventKind kind) {
    switch (kind) {
    case EventKind::bad:
    case EventKind::warn:
        return LogLevel::error;
    case EventKind::code:
    case EventKind::dim:
        return LogLevel::debug;
    default:
        return LogLevel::notice;
    }
}

bool updatesLastEvent(EventKind kind) {
    switch (kind) {
    case EventKind::call:
    case EventKind::good:
    case EventKind::bad:
    case EventKind::warn:
    case EventKind::user:
        return true;
    default:
        return false;
    }
}

bool isForwarded(EventKind kind) {
    return kind != EventKind::rule && kind != EventKind::dim;
}

} // namespace ombru
