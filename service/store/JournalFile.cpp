#include "service/store/JournalFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

std::array<QString, JournalFile::COUNT> JournalFile::of(const QString &database) {
    return {database + u"-told-1"_s, database + u"-told-2"_s};
}

Result<JournalFile> JournalFile::make(const QString &path) {
    JournalFile file(
        path, Descriptor(::open(QFile::encodeName(path).constData(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600)));
    if (!file.m_file.isOpen())
        return std::unexpected(file.failure(errno));
    if (const auto cleared = file.clear(); !cleared)
        return std::unexpected(cleared.error());
    return file;
}

Result<> JournalFile::append(const QByteArray &bytes) {
    if (m_torn)
        if (const auto mended = cut(m_size); !mended)
            return mended;
    for (qsizetype at = 0; at < bytes.size();) {
        const auto written =
            ::write(m_file.number(), bytes.constData() + at, static_cast<std::size_t>(bytes.size() - at));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            const auto why = failure(written < 0 ? errno : ENOSPC);
            m_torn = true;
            static_cast<void>(cut(m_size)); // otherwise before anything else is written
            return std::unexpected(why);
        }
        at += written;
    }
    m_size += bytes.size();
    return {};
}

Result<> JournalFile::cut(qint64 size) {
    if (::ftruncate(m_file.number(), size) != 0)
        return std::unexpected(failure(errno));
    m_size = size;
    m_torn = false;
    return {};
}

Failure JournalFile::failure(int code) const {
    const bool full = code == ENOSPC || code == EDQUOT || code == EFBIG;
    return {u"store"_s, full ? SQLITE_FULL : SQLITE_IOERR,
            u"The journal %1 cannot be written: %2."_s.arg(m_path, QString::fromLocal8Bit(std::strerror(code)))};
}

} // namespace ombru
