#include "platform/linux/services/SessionBusAddress.h"

#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

QString sessionBusAddress() {
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty())
        return address;
    const QString socket = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
    return QFile::exists(socket) ? u"unix:path="_s + socket : QString();
}

QString sessionBusDirectory() {
    const QString given = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (given.isEmpty())
        return qEnvironmentVariable("XDG_RUNTIME_DIR");
    const auto path = QStringView(given).split(u';').first().split(u',').first();
    constexpr QStringView FILE = u"unix:path=";
    return path.startsWith(FILE) ? QFileInfo(path.sliced(FILE.size()).toString()).path() : QString();
}

} // namespace ombru
