#include "platform/linux/system/LogFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

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

QByteArray lineFor(LogLevel level, const QString &subsystem, const QString &category, const QString &text) {
    QString shown = escaped(QStringView(text).first(std::min(text.size(), LOG_LINE_LIMIT)));
    if (text.size() > LOG_LINE_LIMIT)
        shown += u" … (%1 more characters)"_s.arg(text.size() - LOG_LINE_LIMIT);
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    return u"%1 %2 %3/%4: "_s.arg(time, levelName(level), subsystem, category).append(shown).append(u'\n').toUtf8();
}

// Only one process moves a full file away, and only while the name still means the file it looked at.
void rotate(int file, const QByteArray &path) {
    struct stat open{};
    struct stat named{};
    if (flock(file, LOCK_EX | LOCK_NB) != 0)
        return;
    if (fstat(file, &open) == 0 && stat(path.constData(), &named) == 0 && open.st_ino == named.st_ino)
        std::rename(path.constData(), (path + ".1").constData());
}

int openLog(const QByteArray &path) {
    return open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
}

} // namespace

QString logDirectory() {
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    return (QDir::isAbsolutePath(state) ? state : QDir::homePath() + u"/.local/state"_s) + u"/ombru"_s;
}

bool appendToLogFile(const QString &directory, LogLevel level, const QString &subsystem, const QString &category,
                     const QString &text) {
    const QByteArray path = QFile::encodeName(directory + u"/ombru.log"_s);
    int file = openLog(path);
    if (file < 0 && QDir().mkpath(directory))
        file = openLog(path);
    if (file < 0)
        return false;
    const QByteArray line = lineFor(level, subsystem, category, text);
    struct stat now{};
    if (fstat(file, &now) == 0 && now.st_size > 0 && now.st_size + line.size() > LOG_FILE_LIMIT) {
        rotate(file, path);
        close(file);
        file = openLog(path);
    }
    const bool written = file >= 0 && write(file, line.constData(), line.size()) == line.size();
    if (file >= 0)
        close(file);
    return written;
}

} // namespace ombru
