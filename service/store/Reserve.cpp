#include "service/store/Reserve.h"

#include "base/Descriptor.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombru {

namespace {

constexpr qint64 LEAST = 256 << 10; // bytes: with less of it nothing can be done

constexpr qint64 BESIDE = 1 << 20; // a picture or two

} // namespace

void Reserve::fill() {
    const Descriptor file(::open(QFile::encodeName(m_file).constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    struct stat there{};
    if (!file.isOpen() || ::fstat(file.number(), &there) != 0)
        return;
    for (auto size = m_bytes; size >= LEAST && size > there.st_size; size /= 2) {
        if (::posix_fallocate(file.number(), 0, size) == 0)
            return;
        if (::ftruncate(file.number(), there.st_size) != 0) // what it got of that
            return;
    }
}

bool Reserve::isAlone() const {
    const Descriptor file(::open(QFile::encodeName(m_file).constData(), O_WRONLY | O_CLOEXEC));
    struct stat there{};
    if (!file.isOpen() || ::fstat(file.number(), &there) != 0)
        return false;
    const bool grows = ::posix_fallocate(file.number(), there.st_size, BESIDE) == 0;
    return ::ftruncate(file.number(), there.st_size) != 0 || !grows;
}

void Reserve::release() {
    QFile::resize(m_file, 0);
}

} // namespace ombru
