#include "platform/Workspace.h"

#include "platform/WindowAccess.h"
#include "platform/linux/applications/DesktopApplications.h"
#include "platform/linux/applications/KnownApplication.h"
#include "platform/linux/system/Detached.h"
#include "platform/linux/x11/X11Taskbar.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QRegularExpression>

#include <mutex>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

DesktopApplications applicationsOf(Taskbar &windows) {
    return DesktopApplications([&windows]() -> Result<Taskbar *> { return &windows; });
}

Result<> asWorkspace(Result<> result) {
    if (result)
        return result;
    return std::unexpected(Failure{u"workspace"_s, result.error().code, result.error().description});
}

const QString SETTINGS = u"x-apple.systempreferences:"_s;

std::unexpected<Failure> failed(const QString &description) {
    return std::unexpected(Failure{u"workspace"_s, 1, description});
}

// The part of the settings that the address leads to, "Privacy_Automation".
QString anchorOf(const QString &url) {
    static const QRegularExpression pattern(u"\\?([A-Za-z][A-Za-z0-9_]*)$"_s);
    return pattern.match(url).captured(1);
}

Result<> openPrivacySettings(const QString &anchor) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-privacy"_s;
    const auto instead = u"Type this in a terminal to see and change what is allowed: ombru consent list"_s;
    if (const auto shown = windowsCanBeShown(); !shown)
        return failed(u"The window for it cannot be shown (%1) %2"_s.arg(shown.error().description, instead));
    if (!QFileInfo(program).isExecutable())
        return failed(u"The window for it is not installed (%1). %2"_s.arg(program, instead));
    auto command = QStringList{program};
    if (!anchor.isEmpty())
        command += anchor;
    if (const auto started = startDetached(command); !started)
        return failed(u"The window for it couldn't be started (%1). %2"_s.arg(started.error().description, instead));
    return {};
}

} // namespace

Result<> startMenuBarApplication(bool panelOpen) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-menubar"_s;
    if (const auto shown = windowsCanBeShown(); !shown)
        return failed(u"The panel cannot be shown (%1)"_s.arg(shown.error().description));
    return asWorkspace(startDetached(panelOpen ? QStringList{program, u"--panel"_s} : QStringList{program}));
}

std::optional<QString> applicationName(const QString &id) {
    const auto known = knownApplication(id);
    return known ? std::optional(known->name) : std::nullopt;
}

bool applicationRuns(const QString &id) {
    X11Taskbar windows;
    return applicationsOf(windows).isRunning(id);
}

Result<> openApplicationHidden(const QString &id) {
    // Whoever asks for the same one meanwhile finds it running.
    static std::mutex oneAtATime;
    const std::lock_guard lock(oneAtATime);
    X11Taskbar windows;
    return asWorkspace(applicationsOf(windows).openHidden(id));
}

Result<> openURL(const QString &url) {
    if (url.startsWith(SETTINGS, Qt::CaseInsensitive))
        return openPrivacySettings(anchorOf(url));
    X11Taskbar windows;
    return asWorkspace(applicationsOf(windows).openLocation(url));
}

} // namespace ombru
