#include "agent/ToolTrouble.h"

#include "base/Text.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <cerrno>
#include <csignal>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int NOT_EXECUTABLE = 126; // as a shell says it
constexpr int NOT_FOUND = 127;
constexpr qsizetype SHOWN = 80; // characters

// "node" of "#!/usr/bin/env -S node --flag"; empty where the file is no script.
QString interpreterOf(const QString &program) {
    constexpr qint64 FIRST_LINE = 256;
    QFile file(program);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const auto line = QString::fromLocal8Bit(file.readLine(FIRST_LINE)).trimmed();
    if (!line.startsWith(u"#!"))
        return {};
    auto words = line.sliced(2).split(u' ', Qt::SkipEmptyParts);
    if (words.size() > 1 && words.front().endsWith(u"/env"))
        words.removeFirst();
    while (words.size() > 1 && words.front().startsWith(u'-'))
        words.removeFirst();
    return words.value(0);
}

QString missingInterpreter(const QString &program, const QString &interpreter) {
    return u"%1 needs %2, which is not found. Install that, or claude again."_s.arg(program, interpreter);
}

QString notExecutable(const QString &program) {
    return u"%1 may not be executed. `chmod +x %1` allows it."_s.arg(program);
}

QString firstWords(const QByteArray &bytes) {
    constexpr qsizetype LOOKED_AT = 4096;
    const auto line = firstLine(repairedUtf8(bytes.first(std::min(bytes.size(), LOOKED_AT))).trimmed());
    return line.isEmpty() ? u"nothing"_s : u"“%1”"_s.arg(shownLine(line, SHOWN));
}

// Empty where it ended in order, or with a status of its own.
QString endTrouble(const QString &program, const Collected &collected) {
    if (collected.signal != 0)
        return u"%1 was ended by %2"_s.arg(program, signalText(collected.signal));
    const auto interpreter = collected.status == NOT_FOUND ? interpreterOf(program) : QString();
    if (!interpreter.isEmpty())
        return missingInterpreter(program, interpreter);
    return collected.status == NOT_EXECUTABLE ? notExecutable(program) : QString();
}

bool isCutOff(const QByteArray &out) {
    const auto text = out.trimmed();
    if (!text.startsWith('{'))
        return false;
    QJsonParseError error;
    QJsonDocument::fromJson(text, &error);
    using enum QJsonParseError::ParseError;
    const auto unfinished = {UnterminatedObject, UnterminatedArray, UnterminatedString, MissingNameSeparator};
    return error.error != NoError &&
           (!text.endsWith('}') || std::ranges::find(unfinished, error.error) != unfinished.end());
}

} // namespace

QString signalText(int signal) {
    const auto said = [signal](const QString &what) { return u"signal %1: %2"_s.arg(signal).arg(what); };
    switch (signal) {
    case SIGKILL:
        return said(u"something killed it, often for want of memory"_s);
    case SIGTERM:
    case SIGINT:
    case SIGHUP:
        return said(u"somebody asked it to end"_s);
    case SIGABRT:
        return said(u"it gave up over a fault of its own"_s);
    case SIGSEGV:
    case SIGBUS:
    case SIGILL:
    case SIGFPE:
        return said(u"it crashed"_s);
    case SIGXCPU:
    case SIGXFSZ:
        return said(u"it ran into a limit of this account (`ulimit -a`)"_s);
    case SIGPIPE:
        return said(u"nobody took what it printed"_s);
    default:
        return said(QString::fromLocal8Bit(::strsignal(signal)));
    }
}

QString startTrouble(const QString &program, const Failure &why) {
    const bool started = why.domain == u"run"_s;
    if (started && why.code == ETIMEDOUT)
        return u"%1 hangs: %2. Try it in a terminal."_s.arg(program, why.description);
    if (started)
        return u"%1: %2"_s.arg(program, why.description);
    if (why.code == EACCES)
        return notExecutable(program);
    if (why.code == ENOEXEC)
        return u"%1 is no program for this computer, or half of one. Install claude again."_s.arg(program);
    const auto interpreter = why.code == ENOENT ? interpreterOf(program) : QString();
    if (!interpreter.isEmpty())
        return missingInterpreter(program, interpreter);
    return why.code == ENOENT && !QFileInfo(program).isFile() ? u"%1 is not there. Install claude again."_s.arg(program)
                                                              : why.description;
}

QString answerTrouble(const QString &program, const Collected &collected, const QString &wanted) {
    if (const auto end = endTrouble(program, collected); !end.isEmpty())
        return end;
    const auto &printed = collected.out.trimmed().isEmpty() ? collected.err : collected.out;
    return u"%1 printed %2 instead of %3, and ended with status %4. Try it in a terminal."_s
        .arg(program, firstWords(printed), wanted)
        .arg(collected.status);
}

QString replyTrouble(const QString &program, const Collected &collected) {
    constexpr qsizetype KILOBYTE = 1000;
    const auto end = endTrouble(program, collected);
    if (isCutOff(collected.out)) {
        const auto kilobytes = (collected.out.size() + KILOBYTE - 1) / KILOBYTE;
        return (end.isEmpty() ? u"%1 ended before it had written all"_s.arg(program) : end) +
               u"; the reply was cut off after %1 kB. Give the task again."_s.arg(kilobytes);
    }
    if (!end.isEmpty() || !collected.err.isEmpty())
        return end;
    return answerTrouble(program, collected, u"a reply"_s);
}

} // namespace ombru
