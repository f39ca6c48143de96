#include "platform/linux/consent/PromptLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <thread>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Two bytes of the file. A prompt locks both for itself. Input shares them: it passes the door and holds the room, and
// a prompt that waits for the room has shut the door already.
enum Place : off_t { door = 0, room = 1 };

QString fileBeside(const QString &database) {
    return QFileInfo(database).path() + u"/prompt.lock"_s;
}

// Opening the file says when that did not work.
void makeDirectory(const QString &path) {
    if (!QFileInfo::exists(path) && QDir().mkpath(path))
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

Descriptor open(const QString &path, int mode) {
    return Descriptor(::open(QFile::encodeName(path).constData(), mode | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
}

// The system waits for a lock as long as that takes: with a limit it is tried again and again.
bool tryUntil(Clock::Time end, const std::function<int()> &once) {
    constexpr auto GLANCE = std::chrono::milliseconds(10);
    while (once() != 0) {
        if (errno != EAGAIN && errno != EACCES && errno != EINTR)
            return false;
        if (Clock::now() >= end) {
            errno = ETIMEDOUT;
            return false;
        }
        std::this_thread::sleep_for(GLANCE);
    }
    return true;
}

// Belongs to the open file, not to the process, so that two in one process exclude each other too.
bool lock(const Descriptor &file, Place place, short kind, const std::optional<Clock::Time> &end = {}) {
    struct flock bytes = {};
    bytes.l_type = kind;
    bytes.l_whence = SEEK_SET;
    bytes.l_start = place;
    bytes.l_len = 1;
    if (end)
        return tryUntil(*end, [&] { return ::fcntl(file.number(), F_OFD_SETLK, &bytes); });
    int result = 0;
    do
        result = ::fcntl(file.number(), F_OFD_SETLKW, &bytes);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

// Of errors in opening or locking: those that a prompt has there, too.
bool keepsPromptsAway(int error) {
    constexpr std::array KNOWN{ENOENT, ENOTDIR, EISDIR, EACCES, EPERM, EROFS, ENXIO, ELOOP, EINVAL};
    return std::ranges::find(KNOWN, error) != KNOWN.end();
}

Failure cannotLock(const QString &path, int error) {
    return {u"prompt"_s, error,
            u"The lock of the windows that ask for consent, %1, cannot be used: %2."_s.arg(
                path, QString::fromLocal8Bit(std::strerror(error)))};
}

} // namespace

Result<PromptLock> PromptLock::forPrompt(const QString &database) {
    const auto path = fileBeside(database);
    makeDirectory(QFileInfo(path).path());
    auto file = open(path, O_RDWR | O_CREAT);
    if (!file.isOpen() || !lock(file, door, F_WRLCK) || !lock(file, room, F_WRLCK))
        return std::unexpected(cannotLock(path, errno));
    return PromptLock(std::move(file));
}

Result<PromptLock> PromptLock::forInput(const QString &database, const std::optional<Clock::Time> &end) {
    const auto path = fileBeside(database);
    auto file = open(path, O_RDWR | O_CREAT);
    if (!file.isOpen())
        file = open(path, O_RDONLY); // enough to share it
    const bool locked = file.isOpen() && lock(file, door, F_RDLCK, end) && lock(file, room, F_RDLCK, end);
    if (!locked && !keepsPromptsAway(errno))
        return std::unexpected(cannotLock(path, errno));
    if (locked)
        lock(file, door, F_UNLCK);
    return PromptLock(std::move(file));
}

PromptLock::~PromptLock() {
    // Also for a copy of the descriptor that a child may have taken along.
    if (m_file.isOpen() && lock(m_file, room, F_UNLCK))
        lock(m_file, door, F_UNLCK);
}

} // namespace ombru
