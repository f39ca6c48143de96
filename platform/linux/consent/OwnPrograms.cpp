#include "platform/linux/consent/OwnPrograms.h"

#include "platform/linux/system/ProcessStat.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Empty in what is built to be handed on: whoever can write to the place of its making must not be ombru there.
const QString BUILT_IN = QStringLiteral(OMBRU_BUILT_IN);

// As installed, as built, and as laid out by tests of this.
QStringList ownPlaces() {
    const QStringList installed{QStringLiteral(OMBRU_INSTALLED_IN)};
    return BUILT_IN.isEmpty() ? installed : installed + QStringList{BUILT_IN + u"/bin"_s, BUILT_IN + u"/tests/stage"_s};
}

// Also before there is an application object, as in the window's program.
QString ownPath() {
    return processProgram(u"/proc/self"_s);
}

bool isOneFile(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// What is mounted over a file has the file's place, but is another.
bool isMounted(const QByteArray &path) {
    struct statx about = {};
    return ::statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &about) != 0 ||
           (about.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

bool runsFileAt(const QString &process, const QString &path) {
    const auto name = QFile::encodeName(path);
    struct stat running = {};
    struct stat there = {};
    return ::stat(QFile::encodeName(process + u"/exe"_s).constData(), &running) == 0 &&
           ::lstat(name.constData(), &there) == 0 && isOneFile(running, there) && !isMounted(name);
}

} // namespace

Kinship kinshipOf(const QString &process) {
    const auto path = processProgram(process);
    const QFileInfo file(path);
    static const QStringList names{u"ombru"_s, u"ombru-menubar"_s, u"ombru-privacy"_s};
    if (!names.contains(file.fileName()) || !ownPlaces().contains(file.path()))
        return Kinship::none;
    const bool isBesideUs = file.path() == QFileInfo(ownPath()).path();
    return isBesideUs && runsFileAt(process, path) ? Kinship::proven : Kinship::claimed;
}

bool isInstalled() {
    return BUILT_IN.isEmpty() || !ownPath().startsWith(BUILT_IN + u'/');
}

} // namespace ombru
