#include "osascript/LinuxSystem.h"

#include "osascript/RunBlocking.h"

#include <QRandomGenerator>
#include <QStandardPaths>

#include <cerrno>
#include <cmath>
#include <ctime>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace applescript;

namespace {

constexpr double LONGEST_DELAY = 100.0 * 365 * 24 * 3600; // seconds

} // namespace

Result<ShellOutcome> LinuxSystem::shell(const QString &command) {
    return runBlocking({u"/bin/sh"_s, u"-c"_s, command});
}

void LinuxSystem::delay(double seconds) {
    if (!(seconds > 0))
        return;
    const double bounded = std::min(seconds, LONGEST_DELAY);
    timespec left{time_t(bounded), long((bounded - std::floor(bounded)) * 1e9)};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

QDateTime LinuxSystem::now() {
    return QDateTime::currentDateTime();
}

double LinuxSystem::random() {
    return QRandomGenerator::system()->generateDouble();
}

QString LinuxSystem::path(Folder folder) {
    const auto place = [](QStandardPaths::StandardLocation location) {
        return QStandardPaths::writableLocation(location);
    };
    switch (folder) {
    case Folder::home:
        return place(QStandardPaths::HomeLocation);
    case Folder::desktop:
        return place(QStandardPaths::DesktopLocation);
    case Folder::documents:
        return place(QStandardPaths::DocumentsLocation);
    case Folder::downloads:
        return place(QStandardPaths::DownloadLocation);
    case Folder::music:
        return place(QStandardPaths::MusicLocation);
    case Folder::pictures:
        return place(QStandardPaths::PicturesLocation);
    case Folder::movies:
        return place(QStandardPaths::MoviesLocation);
    case Folder::temporary:
        return place(QStandardPaths::TempLocation);
    case Folder::applications:
        return u"/usr/share/applications"_s;
    case Folder::preferences:
        return place(QStandardPaths::GenericConfigLocation);
    }
    Q_UNREACHABLE();
}

void LinuxSystem::log(const QString &line) {
    const auto bytes = line.toUtf8() + '\n';
    for (qsizetype written = 0; written < bytes.size();) {
        const auto count = ::write(STDERR_FILENO, bytes.data() + written, std::size_t(bytes.size() - written));
        // Nobody listens any more: a script does not end for that.
        if (count < 0 && errno != EINTR)
            return;
        written += std::max<ssize_t>(count, 0);
    }
}

} // namespace ombru
