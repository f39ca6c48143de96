#include "platform/linux/services/SessionBusAddress.h"

#include <QFile>

namespace ombru {

using namespace Qt::StringLiterals;

QString sessionBusAddress() {
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty())
        return address;
    const QString socket = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
    return QFile::exists(socket) ? u"unix:path="_s + socket : QString();
}

} // namespace ombru
