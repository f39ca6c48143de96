#include "service/DataDirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Failure directoryFailure(const QString &directory, const QString &why) {
    return {u"service"_s, 0, u"The directory %1 cannot be used: %2."_s.arg(directory, why)};
}

// What root makes there its owner could not open.
std::optional<QString> ownerInPlaceOfRoot(const QString &directory) {
    struct stat there{};
    if (::geteuid() != 0 || ::stat(QFile::encodeName(directory).constData(), &there) != 0 || there.st_uid == 0)
        return std::nullopt;
    return QFileInfo(directory).owner();
}

} // namespace

Result<QString> databaseIn(const QString &directory) {
    if (const auto owner = ownerInPlaceOfRoot(directory))
        return std::unexpected(
            directoryFailure(directory, u"it belongs to %1: `sudo -u %1 ombru-service` works on it"_s.arg(*owner)));
    if (!QDir(directory).exists()) {
        if (!QDir().mkpath(directory))
            return std::unexpected(directoryFailure(directory, u"it cannot be made"_s));
        QFile::setPermissions(directory, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    return directory + u"/service.sqlite"_s;
}

Result<DataLock> DataLock::take(const QString &directory) {
    const auto path = QFile::encodeName(directory + u"/lock"_s);
    Descriptor file(::open(path.constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    if (!file.isOpen())
        return std::unexpected(directoryFailure(directory, QString::fromLocal8Bit(std::strerror(errno))));
    if (::flock(file.number(), LOCK_EX | LOCK_NB) != 0)
        return std::unexpected(directoryFailure(directory, u"a service works on it"_s));
    return DataLock(std::move(file));
}

} // namespace ombru
