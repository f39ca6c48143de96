#include "platform/linux/system/LogFile.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

QString levelName(LogLevel level) {
    switch (level) {
    case LogLevel::error:
        return u"error"_s;
    case LogLevel::notice:
        return u"notice"_s;
    case LogLevel::debug:
        return u"debug"_s;
    }
    return {};
}

// Whatever the text holds, it stays one line and does nothing to the terminal it is shown on.
QString escaped(QStringView text) {
    QString line;
    line.reserve(text.size());
    for (const QChar c : text) {
        if (c == u'\n')
            line += u"\\n"_s;
        else if (c == u'\\')
            line += u"\\\\"_s;
        else if (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
            line += u"\\u%1"_s.arg(static_cast<int>(c.unicode()), 4, 16, QChar(u'0'));
        else
            line += c;
    }
    return line;
}

// In UTC, as ISO 8601 has it. QDateTime takes a fifth of a line's whole time for it.
QString timeNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char seconds[32];
    strftime(seconds, sizeof seconds, "%FT%T", &parts);
    char whole[40];
    std::snprintf(whole, sizeof whole, "%s.%03ldZ", seconds, now.tv_nsec / 1'000'000);
    return QString::fromLatin1(whole);
}

QByteArray lineFor(LogLevel level, const QString &subsystem, const QString &category, const QString &text) {
    QString shown = escaped(QStringView(text).first(std::min(text.size(), LOG_LINE_LIMIT)));
    if (text.size() > LOG_LINE_LIMIT)
        shown += u" … (%1 more characters)"_s.arg(text.size() - LOG_LINE_LIMIT);
    return u"%1 %2 %3/%4: "_s.arg(timeNow(), levelName(level), subsystem, category)
        .append(shown)
        .append(u'\n')
        .toUtf8();
}

bool sameFile(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Only one process moves a full file away, and only while the name still means the file it looked at.
void rotate(int file, const QByteArray &path) {
    struct stat open{};
    struct stat named{};
    if (flock(file, LOCK_EX | LOCK_NB) != 0)
        return;
    if (fstat(file, &open) == 0 && stat(path.constData(), &named) == 0 && sameFile(open, named))
        std::rename(path.constData(), (path + ".1").constData());
}

// The file that was written to last, which stays open, since opening it took a third of a line's time. Until the end of
// the process, for whoever writes then.
std::mutex keptMutex;
int kept = -1;

void letGo() {
    if (kept >= 0)
        close(std::exchange(kept, -1));
}

bool reopen(const QByteArray &path) {
    letGo();
    kept = open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    return kept >= 0;
}

// Its length; none when it cannot be had. Another program may have moved it away, or removed it.
std::optional<qint64> openedLog(const QString &directory, const QByteArray &path) {
    struct stat open{};
    struct stat named{};
    if (kept >= 0 && fstat(kept, &open) == 0 && lstat(path.constData(), &named) == 0 && sameFile(open, named))
        return open.st_size;
    if (!reopen(path) && !(QDir().mkpath(directory) && reopen(path)))
        return std::nullopt;
    return fstat(kept, &open) == 0 ? open.st_size : 0;
}

} // namespace

QString logDirectory() {
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    return (QDir::isAbsolutePath(state) ? state : QDir::homePath() + u"/.local/state"_s) + u"/ombru"_s;
}

bool appendToLogFile(const QString &directory, LogLevel level, const QString &subsystem, const QString &category,
                     const QString &text) {
    const QByteArray path = QFile::encodeName(directory + u"/ombru.log"_s);
    const QByteArray line = lineFor(level, subsystem, category, text);
    const std::scoped_lock lock(keptMutex);
    const auto length = openedLog(directory, path);
    if (!length)
        return false;
    if (*length > 0 && *length + line.size() > LOG_FILE_LIMIT) {
        rotate(kept, path);
        if (!reopen(path))
            return false;
    }
    return write(kept, line.constData(), line.size()) == line.size();
}

} // namespace ombru
