// Entries for the systemd journal, in its own datagram protocol. Any thread; never blocks. Not through libsystemd: its
// sd_journal_send waits while the journal does not keep up, and says that all is well when there is none.
#pragma once
#include "platform/SystemLog.h"

#include <QByteArray>

namespace ombru {

constexpr const char *JOURNAL_SOCKET = "/run/systemd/journal/socket";

// False when no journal takes the entry: there is none at that socket, or it does not keep up.
bool sendToJournal(const QByteArray &socketPath, LogLevel level, const QString &subsystem, const QString &category,
                   const QString &text);

} // namespace ombru
