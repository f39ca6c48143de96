#include "service/DataDirectory.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Failure directoryFailure(const QString &directory, const QString &why) {
    return {u"service"_s, 0, u"The directory %1 cannot be used: %2."_s.arg(directory, why)};
}

} // namespace

Result<QString> databaseIn(const QString &directory) {
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
