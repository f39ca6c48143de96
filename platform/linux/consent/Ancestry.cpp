#include "platform/linux/consent/Ancestry.h"

#include "platform/linux/system/ProcessStat.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace ombru {

using namespace Qt::StringLiterals;

// A process's number may be given anew while we look: one that is younger than its child is not its parent, and one
// that changed meanwhile was not seen at all.
Ancestry ancestryOf(const QString &processes, qint64 pid) {
    Ancestry ancestry;
    QSet<qint64> seen{pid};
    auto child = processStat(processes + u'/' + QString::number(pid));
    while (child && child->parent > 0 && !seen.contains(child->parent)) {
        seen.insert(child->parent);
        const auto process = processes + u'/' + QString::number(child->parent);
        const auto before = processStat(process);
        const auto program = processProgram(process);
        ancestry.whole = !before || (before->start <= child->start && processStat(process) == before);
        if (!before || !ancestry.whole)
            break;
        ancestry.all.push_back({child->parent, program});
        child = before;
    }
    return ancestry;
}

qint64 ownNumber() {
    return QFileInfo(QFile::symLinkTarget(u"/proc/self"_s)).fileName().toLongLong();
}

std::optional<Environment> environmentOf(const QString &process) {
    QFile file(process + u"/environ"_s);
    if (!file.open(QFile::ReadOnly))
        return std::nullopt;
    Environment environment;
    for (const auto &variable : file.readAll().split('\0')) {
        if (const auto equals = variable.indexOf('='); equals > 0)
            environment[variable.first(equals)] = variable.sliced(equals + 1);
    }
    return environment;
}

QList<QByteArray> statusOf(const QString &process, const QByteArray &name) {
    QFile file(process + u"/status"_s);
    for (const auto &line : file.open(QFile::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>()) {
        if (line.startsWith(name + ':'))
            return line.sliced(name.size() + 1).simplified().split(' ');
    }
    return {};
}

} // namespace ombru
