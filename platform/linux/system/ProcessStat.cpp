#include "platform/linux/system/ProcessStat.h"

#include <QFile>
#include <QFileInfo>

namespace ombru {

std::optional<ProcessStat> processStat(const QString &process) {
    enum Field : qsizetype { state = 0, parent = 1, group = 2, start = 19 }; // behind the name, which may hold anything
    QFile file(process + QStringLiteral("/stat"));
    if (!file.open(QFile::ReadOnly))
        return std::nullopt;
    const auto line = file.readAll();
    const auto fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    if (fields.size() <= start)
        return std::nullopt;
    return ProcessStat{fields[parent].toInt(), fields[group].toInt(), fields[start].toULongLong(),
                       fields[state] == "Z" || fields[state] == "X"};
}

QString processProgram(const QString &process) {
    const auto mark = QStringLiteral(" (deleted)");
    const auto program = QFile::symLinkTarget(process + QStringLiteral("/exe"));
    return program.endsWith(mark) && !QFileInfo::exists(program) ? program.chopped(mark.size()) : program;
}

} // namespace ombru
