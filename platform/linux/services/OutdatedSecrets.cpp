#include "platform/linux/services/OutdatedSecrets.h"

#include "base/Descriptor.h"
#include "platform/SystemLog.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString directory() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/ombru/outdated-secrets"_s;
}

QString noteOf(const QString &key) {
    return directory() + u'/' + key;
}

Descriptor openNote(const QString &key, int flags) {
    return Descriptor(
        ::open(QFile::encodeName(noteOf(key)).constData(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
}

bool lock(const Descriptor &file) {
    while (::flock(file.number(), LOCK_EX) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

bool isNamed(const Descriptor &file) {
    struct stat status = {};
    return ::fstat(file.number(), &status) == 0 && status.st_nlink > 0;
}

} // namespace

// One that is there stays the same file: who settles it holds its lock.
bool noteOutdated(const QString &key) {
    QDir().mkpath(directory());
    const auto file = openNote(key, O_CREAT);
    if (file.isOpen() && ::fsync(file.number()) == 0)
        return true;
    const int error = errno;
    logger::error(u"cannot write %1: %2"_s.arg(noteOf(key), QString::fromLocal8Bit(std::strerror(error))));
    return false;
}

bool isOutdated(const QString &key) {
    return QFile::exists(noteOf(key));
}

bool isAnyOutdated() {
    return !QDir(directory()).isEmpty(QDir::Files);
}

bool settleOutdated(const QString &key, const std::function<bool()> &isGone) {
    const auto file = openNote(key, 0);
    if (!file.isOpen() || !lock(file))
        return !isOutdated(key);
    if (!isNamed(file)) // somebody else has settled it, and it may have been noted again
        return settleOutdated(key, isGone);
    return isGone() && QFile::remove(noteOf(key));
}

} // namespace ombru
