// The log of a system without a journal: one line an entry, two files at most, readable by the owner only. Any thread,
// and several processes at once.
#pragma once
#include "platform/SystemLog.h"

namespace ombru {

constexpr qint64 LOG_FILE_LIMIT = 4 << 20;    // bytes; then ombru.log becomes ombru.log.1 and a new one begins
constexpr qsizetype LOG_LINE_LIMIT = 1 << 16; // characters of one text; the rest is counted and left out

// $XDG_STATE_HOME/ombru, or ~/.local/state/ombru. Qt 6.4 does not know this place; GLib takes a relative one, too.
QString logDirectory();

// Appends to ombru.log in the directory, which is made when it is missing. False when it cannot be written.
bool appendToLogFile(const QString &directory, LogLevel level, const QString &subsystem, const QString &category,
                     const QString &text);

} // namespace ombru
