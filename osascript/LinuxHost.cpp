// What needs no window: the shell, time, dialogs, places. The rest is in LinuxHostApplications.cpp and
// LinuxHostDesktop.cpp.

#include "osascript/LinuxHost.h"

#include "osascript/Blocking.h"
#include "osascript/dialog/DialogWire.h"

#include <QCoreApplication>
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

constexpr int NO_USER_INTERACTION = -1713;
constexpr double LONGEST_DELAY = 100.0 * 365 * 24 * 3600; // seconds

Failure noInteraction() {
    return {u"dialog"_s, NO_USER_INTERACTION, u"No user interaction allowed."_s};
}

} // namespace

ConsentCheck &LinuxHost::consent() {
    const auto run = [](const QStringList &words, const Environment &environment) {
        auto outcome = runBlocking(words, {}, environment); // ends with the script that waits for it
        return outcome ? Result<int>(outcome->status) : std::unexpected(outcome.error());
    };
    if (!m_consent)
        m_consent.emplace(askingClient(), run);
    return *m_consent;
}

Result<> LinuxHost::authorize(const Application &application) {
    if (consent().automation(application.id, true) == AUTOMATION_ALLOWED)
        return {};
    const auto message = u"Not authorized to send Apple events to %1."_s.arg(application.name);
    return std::unexpected(Failure{u"consent"_s, AUTOMATION_REFUSED, message});
}

Result<ShellOutcome> LinuxHost::shell(const QString &command) {
    return runBlocking({u"/bin/sh"_s, u"-c"_s, command});
}

void LinuxHost::delay(double seconds) {
    if (!(seconds > 0))
        return;
    const double bounded = std::min(seconds, LONGEST_DELAY);
    timespec left{time_t(bounded), long((bounded - std::floor(bounded)) * 1e9)};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

QDateTime LinuxHost::now() {
    return QDateTime::currentDateTime();
}

double LinuxHost::random() {
    return QRandomGenerator::system()->generateDouble();
}

Result<DialogAnswer> LinuxHost::ask(const DialogRequest &request) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-dialog"_s;
    const auto outcome = runBlocking({program}, toJson(request));
    if (!outcome)
        return std::unexpected(Failure{u"dialog"_s, NO_USER_INTERACTION, outcome.error().description});
    if (outcome->status != 0)
        return std::unexpected(noInteraction());
    return dialogAnswer(outcome->out);
}

Result<> LinuxHost::openLocation(const QString &url) {
    return m_applications.openLocation(url);
}

QString LinuxHost::path(Folder folder) {
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

void LinuxHost::log(const QString &line) {
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
