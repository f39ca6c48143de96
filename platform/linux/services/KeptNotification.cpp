#include "platform/linux/services/KeptNotification.h"

#include "base/WholeFile.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

namespace ombru::KeptNotification {
namespace {

constexpr qint64 LONGEST = 200; // bytes of a file of ours

// Empty where there is no runtime directory; one is not made up.
QString directory() {
    const QString session = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return session.isEmpty() || !QDir(session).exists() ? QString() : session + u"/ombru"_s;
}

QString path(const QString &id, const NotificationServer::Found &server) {
    const QString place = directory();
    return place.isEmpty() || server.bus.isEmpty() ? QString() : place + u'/' + id + u'.' + server.bus;
}

} // namespace

uint number(const QString &id, const NotificationServer::Found &server) {
    const QString name = path(id, server);
    QFile file(name);
    if (name.isEmpty() || !file.open(QFile::ReadOnly))
        return 0;
    const auto words = QString::fromUtf8(file.read(LONGEST)).split(u' ');
    return words.value(0) == server.owner ? words.value(1).toUInt() : 0;
}

// The notification is shown whether or not this succeeds.
void keep(const QString &id, const NotificationServer::Found &server, uint number) {
    const QString name = path(id, server);
    if (name.isEmpty())
        return;
    if (number == 0) {
        QFile::remove(name);
        return;
    }
    if (QDir().mkdir(directory()))
        QFile::setPermissions(directory(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    std::ignore = writeWholeFile(name, u"%1 %2"_s.arg(server.owner).arg(number).toUtf8());
}

} // namespace ombru::KeptNotification
