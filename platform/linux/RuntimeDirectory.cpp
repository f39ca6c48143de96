#include "platform/RuntimeDirectory.h"

#include "base/Descriptor.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr mode_t OTHERS_WRITE = S_IWGRP | S_IWOTH;

Failure failure(const QString &path, const QString &why) {
    return {u"runtime"_s, 1, u"The directory %1 cannot be used: %2."_s.arg(path, why)};
}

bool isOwn(const struct stat &file) {
    return S_ISDIR(file.st_mode) && file.st_uid == ::geteuid() && (file.st_mode & OTHERS_WRITE) == 0;
}

// Of the session: given, or where the system makes it. Empty when there is none.
QString sessionDirectory() {
    for (const auto &path : {qEnvironmentVariable("XDG_RUNTIME_DIR"), u"/run/user/%1"_s.arg(::geteuid())}) {
        struct stat file = {};
        if (path.startsWith(u'/') && ::lstat(QFile::encodeName(path).constData(), &file) == 0 && isOwn(file))
            return path;
    }
    return {};
}

// Looked at through the open file, so that nobody can put another in its place meanwhile.
Result<QString> madePrivate(const QString &path) {
    const auto name = QFile::encodeName(path);
    if (::mkdir(name.constData(), S_IRWXU) != 0 && errno != EEXIST)
        return std::unexpected(failure(path, QString::fromLocal8Bit(std::strerror(errno))));
    const Descriptor directory(::open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat file = {};
    if (!directory.isOpen() || ::fstat(directory.number(), &file) != 0)
        return std::unexpected(failure(path, QString::fromLocal8Bit(std::strerror(errno))));
    if (!isOwn(file))
        return std::unexpected(failure(path, u"it is another user's, or others can write to it"_s));
    if (::fchmod(directory.number(), S_IRWXU) != 0)
        return std::unexpected(failure(path, QString::fromLocal8Bit(std::strerror(errno))));
    return path;
}

} // namespace

Result<QString> runtimeDirectory() {
    const auto session = sessionDirectory();
    return madePrivate(session.isEmpty() ? u"/tmp/ombru-%1"_s.arg(::geteuid()) : session + u"/ombru"_s);
}

} // namespace ombru
