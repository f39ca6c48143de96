#include "platform/linux/applications/DesktopApplications.h"

#include "base/SystemEvents.h"
#include "platform/linux/applications/InstalledApplications.h"
#include "platform/linux/applications/ProgramProcesses.h"
#include "platform/linux/system/Detached.h"
#include "platform/linux/system/WaitFor.h"

#include <QStandardPaths>
#include <QUrl>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int NO_APPLICATION = -10814;
constexpr int COULD_NOT_LAUNCH = -10810;
constexpr auto STARTING = 10s; // a program may take that long to show its first window

bool isWebOrMail(const QString &scheme) {
    return QStringList{u"http"_s, u"https"_s, u"mailto"_s}.contains(scheme);
}

// By its own words. A program for the web may be the one for mail, too.
bool couldBeChosen(const DesktopEntry &entry, const QString &scheme) {
    const auto offers = [&](const QString &type) { return entry.mimeTypes.contains(type); };
    const QStringList types{u"text/html"_s, u"x-scheme-handler/http"_s, u"x-scheme-handler/https"_s,
                            u"x-scheme-handler/"_s + scheme};
    const bool isForMail = scheme == u"mailto"_s && entry.categories.contains(u"Email"_s);
    return isForMail || entry.categories.contains(u"WebBrowser"_s) || std::ranges::any_of(types, offers);
}

// Programs of $BROWSER, which holds command lines.
std::vector<DesktopEntry> namedByEnvironment(const Applications &installed) {
    std::vector<DesktopEntry> found;
    for (const QString &command : qEnvironmentVariable("BROWSER").split(u':', Qt::SkipEmptyParts)) {
        DesktopEntry browser;
        browser.exec = command;
        std::ranges::copy(applicationsOfSameProgram(browser, installed), std::back_inserter(found));
    }
    return found;
}

std::optional<DesktopEntry> copied(const DesktopEntry *entry) {
    return entry ? std::optional(*entry) : std::nullopt;
}

} // namespace

Failure notInstalled(const QString &id) {
    return {u"applications"_s, NO_APPLICATION, u"No application with the identifier “%1” is installed."_s.arg(id)};
}

std::optional<DesktopEntry> DesktopApplications::withId(const QString &id) const {
    return copied(installedApplications()->withId(id));
}

std::optional<DesktopEntry> DesktopApplications::ofWindow(const DesktopWindow &window) const {
    return copied(installedApplications()->ofWindow(window.className, window.instance));
}

std::optional<DesktopEntry> DesktopApplications::defaultFor(const QString &mimeType, const QString &category) const {
    return copied(installedApplications()->defaultFor(mimeType, category));
}

Result<std::vector<DesktopWindow>> DesktopApplications::allWindows() const {
    const auto windows = m_openTaskbar();
    if (!windows)
        return std::unexpected(windows.error());
    return (*windows)->windows();
}

Result<std::vector<DesktopWindow>> DesktopApplications::windowsOf(const QString &id) const {
    auto windows = allWindows();
    if (!windows)
        return windows;
    const auto installed = installedApplications();
    std::erase_if(*windows, [&](const auto &window) {
        const auto *entry = installed->ofWindow(window.className, window.instance);
        return !entry || entry->id != id;
    });
    return windows;
}

bool DesktopApplications::isRunning(const QString &id) const {
    if (isSystemEvents(id))
        return true;
    const auto entry = withId(id);
    if (!entry)
        return false;
    if (const auto windows = windowsOf(entry->id); windows && !windows->empty())
        return true;
    return runningSince(*entry).has_value();
}

void DesktopApplications::awaitStart(const DesktopEntry &entry) const {
    waitUntil(m_limit->after(STARTING), [&] {
        const auto windows = windowsOf(entry.id);
        return !windows || !windows->empty() || runningSince(entry).value_or(STARTING) >= STARTING;
    });
}

Result<std::vector<DesktopWindow>> DesktopApplications::awaitWindows(const DesktopEntry &entry,
                                                                     std::chrono::milliseconds time) const {
    Result<std::vector<DesktopWindow>> windows;
    waitUntil(m_limit->after(time), [&] {
        windows = windowsOf(entry.id);
        return !windows || !windows->empty();
    });
    return windows;
}

Result<> DesktopApplications::start(const DesktopEntry &entry, const QStringList &files) const {
    const auto commands = commandLines(entry, files);
    if (!commands)
        return std::unexpected(commands.error());
    QStringList terminal;
    if (entry.terminal) {
        const auto installed = installedApplications();
        const auto *emulator = installed->terminal();
        terminal = {emulator ? emulator->program() : u"x-terminal-emulator"_s, u"-e"_s};
    }
    for (const auto &command : *commands) {
        if (auto started = startDetached(terminal + command); !started)
            return std::unexpected(Failure{u"applications"_s, COULD_NOT_LAUNCH, started.error().description});
    }
    return {};
}

std::optional<DesktopEntry> DesktopApplications::openerOfLocation(const QString &url) const {
    const auto scheme = QUrl(url).scheme();
    const bool opens = !scheme.isEmpty() && scheme != u"file";
    return opens ? defaultFor(u"x-scheme-handler/"_s + scheme) : std::nullopt;
}

std::vector<DesktopEntry> DesktopApplications::possibleOpeners(const QString &url) const {
    const auto installed = installedApplications();
    const auto scheme = QUrl(url).scheme();
    const auto opener = openerOfLocation(url);
    auto found = opener ? applicationsOfSameProgram(*opener, *installed) : std::vector<DesktopEntry>();
    if (opener ? !leavesTheChoice(*opener) : !isWebOrMail(scheme))
        return found;
    std::ranges::copy_if(installed->all(), std::back_inserter(found),
                         [&](const DesktopEntry &entry) { return couldBeChosen(entry, scheme); });
    std::ranges::copy(namedByEnvironment(*installed), std::back_inserter(found));
    return found;
}

Result<> DesktopApplications::openLocation(const QString &url) const {
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return std::unexpected(
            Failure{u"applications"_s, COULD_NOT_LAUNCH,
                    u"There is no display to open “%1” on. Run this inside a desktop session."_s.arg(url)});
    if (const auto entry = openerOfLocation(url))
        return start(*entry, {url});
    if (isWebOrMail(QUrl(url).scheme()) && !QStandardPaths::findExecutable(u"xdg-open"_s).isEmpty())
        return startDetached({u"xdg-open"_s, url});
    return std::unexpected(
        Failure{u"applications"_s, NO_APPLICATION, u"No application is installed that opens “%1”."_s.arg(url)});
}

} // namespace ombru
