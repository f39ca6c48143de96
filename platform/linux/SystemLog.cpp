#include "platform/SystemLog.h"

#include "platform/linux/system/Journal.h"
#include "platform/linux/system/LogFile.h"

namespace ombru {

void systemLog(LogLevel level, const QString &subsystem, const QString &category, const QString &text) {
    if (!sendToJournal(JOURNAL_SOCKET, level, subsystem, category, text))
        appendToLogFile(logDirectory(), level, subsystem, category, text);
}

} // namespace ombru
