#include "platform/linux/system/MachineInfo.h"

#include <QFile>
#include <QSysInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Between double quotes, as a shell reads it.
QString withoutEscapes(const QString &quoted) {
    QString text;
    for (qsizetype at = 0; at < quoted.size(); ++at) {
        const bool escapes = quoted[at] == u'\\' && at + 1 < quoted.size() && u"\"\\`$"_s.contains(quoted[at + 1]);
        text += quoted[escapes ? ++at : at];
    }
    return text;
}

QString value(const QString &written) {
    for (const QChar quote : {u'"', u'\''})
        if (written.size() > 1 && written.startsWith(quote) && written.endsWith(quote)) {
            const auto inside = written.sliced(1, written.size() - 2);
            return quote == u'"' ? withoutEscapes(inside) : inside;
        }
    return written;
}

// As its owner wrote it, with blanks and all; the network's name is another.
QString prettyName(const QString &machineInfo) {
    QFile file(machineInfo);
    if (!file.open(QFile::ReadOnly))
        return {};
    for (const auto &line : file.readAll().split('\n'))
        if (line.startsWith("PRETTY_HOSTNAME="))
            return value(QString::fromUtf8(line.sliced(line.indexOf('=') + 1)).trimmed());
    return {};
}

} // namespace

QString hostNameBy(const QString &machineInfo) {
    const auto name = prettyName(machineInfo);
    return name.isEmpty() ? QSysInfo::machineHostName() : name;
}

} // namespace ombru
