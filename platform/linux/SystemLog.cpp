#include "platform/SystemLog.h"

#include "platform/linux/system/Journal.h"
#include "platform/linux/system/LogFile.h"
#include "platform/linux/system/ShellWord.h"

#include <QFile>

#include <atomic>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::atomic<bool> lost = false;

} // namespace

void systemLog(LogLevel level, const QString &subsystem, const QString &category, const QString &text) {
    if (!sendToJournal(JOURNAL_SOCKET, level, subsystem, category, text) &&
        !appendToLogFile(logDirectory(), level, subsystem, category, text))
        lost = true;
}

QString lostLog() {
    return lost ? u"The log could not be kept in %1. `ombru doctor` says what is in the way."_s.arg(logDirectory())
                : QString();
}

QString stateDirectory() {
    return logDirectory();
}

QString logCommand() {
    if (QFile::exists(QString::fromLatin1(JOURNAL_SOCKET)))
        return u"journalctl SYSLOG_IDENTIFIER=ombru -n 1000 -f"_s;
    return u"tail -n 1000 -F "_s + forShell(logDirectory() + u"/ombru.log"_s);
}

} // namespace ombru
