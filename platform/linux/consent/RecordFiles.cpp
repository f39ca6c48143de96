#include "platform/linux/consent/RecordFiles.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::unexpected<Failure> wrong(const QString &why) {
    return std::unexpected(Failure{u"consent"_s, 1, why});
}

// `kind` as in st_mode, `name` as its owner is told.
Result<std::optional<struct stat>> own(const QString &path, mode_t kind, const QString &name) {
    struct stat file = {};
    if (::lstat(QFile::encodeName(path).constData(), &file) != 0) {
        if (errno == ENOENT)
            return std::nullopt;
        return wrong(name + u": "_s + QString::fromLocal8Bit(std::strerror(errno)));
    }
    if ((file.st_mode & S_IFMT) != kind)
        return wrong(name + (kind == S_IFDIR ? u" is no directory"_s : u" is not a file"_s));
    if (file.st_uid != ::geteuid() && file.st_uid != 0)
        return wrong(name + u" is another user's"_s);
    if ((file.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return wrong(u"others than its owner can write to "_s + name);
    return file;
}

} // namespace

Result<std::optional<struct stat>> ownRecordFiles(const QString &database) {
    if (const auto directory = own(QFileInfo(database).path(), S_IFDIR, u"its directory"_s); !directory)
        return directory;
    for (const auto &side : {u"-wal"_s, u"-journal"_s, u"-shm"_s}) {
        if (const auto file = own(database + side, S_IFREG, QFileInfo(database).fileName() + side); !file)
            return file;
    }
    return own(database, S_IFREG, u"it"_s);
}

} // namespace ombru
