// What a test asks about the processes it started, and stand-in programs for them to run.
#pragma once
#include "tests/support/Wait.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <sys/syscall.h>

namespace ombru::test {

inline QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A process that has ended but was not collected by its parent yet counts as gone.
inline bool isAlive(qint64 pid) {
    const auto stat = contents(QStringLiteral("/proc/%1/stat").arg(pid));
    const auto state = stat.lastIndexOf(')') + 2;
    return state < stat.size() && stat[state] != 'Z' && stat[state] != 'X';
}

// Sleeps in the kernel until somebody gives a lock back.
inline bool waitsForALock(qint64 pid) {
    return contents(QStringLiteral("/proc/%1/syscall").arg(pid)).startsWith(QByteArray::number(SYS_fcntl) + ' ');
}

// Sleeps for a moment before it looks again, as osascript does where a prompt is open.
inline bool looksNowAndThen(qint64 pid) {
    return contents(QStringLiteral("/proc/%1/syscall").arg(pid))
        .startsWith(QByteArray::number(SYS_clock_nanosleep) + ' ');
}

inline bool isStopped(qint64 pid) {
    const auto stat = contents(QStringLiteral("/proc/%1/stat").arg(pid));
    return stat.mid(stat.lastIndexOf(')') + 2, 1) == "T";
}

// The children of that process, by whichever of its threads, that were not collected yet.
inline QList<qint64> childrenOf(qint64 process) {
    QList<qint64> children;
    const auto threads = QStringLiteral("/proc/%1/task/").arg(process);
    for (const auto &thread : QDir(threads).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        for (const auto &child : contents(threads + thread + QStringLiteral("/children")).simplified().split(' '))
            if (!child.isEmpty())
                children += child.toLongLong();
    return children;
}

// The processes that have "NAME=value" in the environment they were started with: a mark that a test's programs pass on
// to whatever they start, detached or not.
inline QList<qint64> processesMarked(const QByteArray &mark) {
    QList<qint64> result;
    for (const QString &name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const auto environment = '\0' + contents(QStringLiteral("/proc/") + name + QStringLiteral("/environ"));
        if (environment.contains('\0' + mark + '\0') && isAlive(name.toLongLong()))
            result += name.toLongLong();
    }
    return result;
}

// Ends them all, and what they start meanwhile.
inline bool endMarked(const QByteArray &mark) {
    return waitUntil([&] {
        const auto left = processesMarked(mark);
        for (const qint64 pid : left)
            ::kill(static_cast<pid_t>(pid), SIGKILL);
        return left.isEmpty();
    });
}

constexpr qint64 NO_PROCESS = 0x7FFFFFFF; // nobody has this number; a signal to -1 would reach everybody

// The process id that a script wrote into that file; waits for it. NO_PROCESS when it never came.
inline qint64 pidIn(const QString &path) {
    const bool there = waitUntil([&] { return contents(path).endsWith('\n'); });
    EXPECT_TRUE(there) << path.toStdString();
    const auto pid = there ? contents(path).trimmed().toLongLong() : 0;
    return pid > 0 ? pid : NO_PROCESS;
}

inline qsizetype openDescriptors() {
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
}

// A directory that goes away with the test, and files in it.
class Scratch {
public:
    Scratch() = default;
    explicit Scratch(const QString &name) : m_directory(QDir::temp().filePath(name + QStringLiteral("-XXXXXX"))) {}

    QString path(const QString &name) const { return m_directory.filePath(name); }
    QString directory() const { return m_directory.path(); }

    QString write(const QString &name, const QByteArray &text, QFile::Permissions permissions = {}) const {
        QFile file(path(name));
        file.remove();
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            ADD_FAILURE() << "cannot write " << file.fileName().toStdString();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | permissions);
        return file.fileName();
    }

    // An executable shell script; gives its path.
    QString script(const QString &name, const QByteArray &body) const {
        return write(name, "#!/bin/sh\n" + body + "\n", QFile::ExeOwner);
    }

private:
    QTemporaryDir m_directory;
};

} // namespace ombru::test
