#include "platform/HostInfo.h"

#include <QFile>
#include <QSysInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// As its owner wrote it, with blanks and all; the network's name is another.
QString prettyName() {
    QFile file(u"/etc/machine-info"_s);
    if (!file.open(QFile::ReadOnly))
        return {};
    for (const auto &line : file.readAll().split('\n')) {
        if (!line.startsWith("PRETTY_HOSTNAME="))
            continue;
        auto name = QString::fromUtf8(line.sliced(line.indexOf('=') + 1)).trimmed();
        if (name.size() > 1 && (name.startsWith(u'"') || name.startsWith(u'\'')) && name.endsWith(name[0]))
            name = name.sliced(1, name.size() - 2);
        return name;
    }
    return {};
}

} // namespace

QString hostName() {
    const auto name = prettyName();
    return name.isEmpty() ? QSysInfo::machineHostName() : name;
}

QString systemName() {
    return u"Linux"_s;
}

} // namespace ombru
