// The system's log: where the owner looks when something went wrong. Tokens and keys never reach it.
// Any thread; never fails, never waits for another program. What cannot be written is dropped.
#pragma once
#include <QString>

namespace ombru {

enum class LogLevel { error, notice, debug };

// The text may be long, hold line breaks and anything else; it is one entry, readable by whoever may read the log.
void systemLog(LogLevel level, const QString &subsystem, const QString &category, const QString &text);

// The one logger of this program.
namespace logger {
inline void log(LogLevel level, const QString &text) {
    systemLog(level, QStringLiteral("com.ombru.mac"), QStringLiteral("relay"), text);
}
inline void error(const QString &text) {
    log(LogLevel::error, text);
}
inline void notice(const QString &text) {
    log(LogLevel::notice, text);
}
inline void debug(const QString &text) {
    log(LogLevel::debug, text);
}
} // namespace logger

} // namespace ombru
