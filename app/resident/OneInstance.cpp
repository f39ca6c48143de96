#include "app/resident/OneInstance.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>

namespace ombru {

using namespace Qt::StringLiterals;

Result<std::optional<Descriptor>> lockInstance(const QString &socket) {
    const auto path = socket + u".lock"_s;
    Descriptor file(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (file.isOpen() && ::flock(file.number(), LOCK_EX | LOCK_NB) == 0)
        return file;
    if (file.isOpen() && errno == EWOULDBLOCK)
        return std::nullopt;
    return std::unexpected(
        Failure{u"door"_s, errno, u"Cannot lock %1: %2."_s.arg(path, QString::fromLocal8Bit(std::strerror(errno)))});
}

} // namespace ombru
