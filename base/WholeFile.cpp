#include "base/WholeFile.h"

#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace ombru {
namespace {

Failure fileFailure(const QString &path) {
    const int error = errno;
    return {QStringLiteral("file"), error,
            QStringLiteral("cannot write %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(error)))};
}

bool writeAll(int file, QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const ssize_t written = write(file, bytes.data(), static_cast<std::size_t>(bytes.size()));
        if (written < 0 && errno != EINTR)
            return false;
        bytes = bytes.sliced(std::max<ssize_t>(written, 0));
    }
    return true;
}

} // namespace

Result<> writeWholeFile(const QString &path, const QByteArray &bytes) {
    const QByteArray name = QFile::encodeName(path);
    QByteArray temporary = name + ".XXXXXX";
    const int file = mkostemp(temporary.data(), O_CLOEXEC);
    if (file < 0)
        return std::unexpected(fileFailure(path));
    const bool written = writeAll(file, bytes);
    const int writeError = errno;
    const bool closed = close(file) == 0; // some file systems say only here that the disk is full
    if (!written)
        errno = writeError;
    if (written && closed && rename(temporary.constData(), name.constData()) == 0)
        return {};
    const Failure failure = fileFailure(path);
    unlink(temporary.constData());
    return std::unexpected(failure);
}

} // namespace ombru
