// The system's log: where the owner looks when something went wrong. Tokens and keys never reach it.
// Any thread; never fails, never waits for another program. What cannot be written is dropped.
#pragma once
#include <QString>

namespace ombru {

enum class LogLevel { error, notice, debug };

// The text may be long, hold line breaks and anything else; it is one entry, readable by whoever may read the log.
void systemLog(LogLevel level, const QString &subsystem, const QString &category, const QString &text);

// Why something that this program logged is in no log, in a sentence for its owner; empty while all of it is.
QString lostLog();

// What this owner's programs keep besides settings and data: the log where the system has none, and what the next start
// looks up. Need not be there.
QString stateDirectory();

// What shows it in a terminal, the last entries and those to come, as a line for the shell.
QString logCommand();

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
