// What System Events is called: the application whose events are keys and clicks. Nobody can install it; it is always
// there and always runs. Constants and pure functions; any thread.
#pragma once
#include <QString>

namespace ombru {

inline constexpr QStringView SYSTEM_EVENTS_NAME = u"System Events";
inline constexpr QStringView SYSTEM_EVENTS_ID = u"com.apple.systemevents";

inline bool isSystemEvents(QStringView id) {
    return id.compare(SYSTEM_EVENTS_ID, Qt::CaseInsensitive) == 0;
}

inline bool isSystemEventsName(QStringView name) {
    return name.compare(SYSTEM_EVENTS_NAME, Qt::CaseInsensitive) == 0;
}

} // namespace ombru
