#include "osascript/LinuxApplications.h"

#include "base/SystemEvents.h"
#include "platform/linux/applications/KnownApplication.h"
#include "platform/linux/applications/ProgramFiles.h"
#include "platform/linux/system/WaitFor.h"

#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>

#include <algorithm>
#include <array>
#include <linux/magic.h>
#include <sys/vfs.h>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int FILE_NOT_FOUND = -43;
constexpr int CANNOT_OPEN = -10000;
constexpr int NO_APPLICATION = -10814;
constexpr int USER_CANCELED = -128;
constexpr int COULD_NOT_LAUNCH = -10810;
constexpr auto APPEAR = 20s; // how long an application may take to show a window
constexpr auto LEAVE = 10s;  // and to close them

QSet<std::uint64_t> handles(const std::vector<DesktopWindow> &windows) {
    QSet<std::uint64_t> result;
    for (const auto &window : windows)
        result.insert(window.handle);
    return result;
}

std::optional<applescript::Application> asApplication(const std::optional<KnownApplication> &known) {
    return known ? std::optional(applescript::Application{known->id, known->name, known->path}) : std::nullopt;
}

// Files that the kernel makes up: some of them never end, and some keep whoever reads them waiting.
bool isTheKernels(const QString &path) {
    constexpr std::array<unsigned long, 10> KINDS{PROC_SUPER_MAGIC, SYSFS_MAGIC,        DEBUGFS_MAGIC, TRACEFS_MAGIC,
                                                  SECURITYFS_MAGIC, CGROUP_SUPER_MAGIC, BPF_FS_MAGIC,  EFIVARFS_MAGIC,
                                                  PSTOREFS_MAGIC,   CGROUP2_SUPER_MAGIC};
    struct statfs system{};
    return ::statfs(QFile::encodeName(path).constData(), &system) == 0 &&
           std::ranges::find(KINDS, static_cast<unsigned long>(system.f_type)) != KINDS.end();
}

// A full path: a program reads nothing else into it. A document or a folder: what is none of them, say a pipe, could
// keep whoever opens it waiting.
Result<> mustBeThere(const QString &path) {
    const QFileInfo file(path);
    if (!path.startsWith(u'/') || path.contains(QChar(0)) || !file.exists())
        return std::unexpected(Failure{u"applications"_s, FILE_NOT_FOUND, u"File %1 wasn’t found."_s.arg(path)});
    if (file.isDir() || (file.isFile() && !isTheKernels(path)))
        return {};
    return std::unexpected(Failure{u"applications"_s, FILE_NOT_FOUND,
                                   u"%1 is neither a document nor a folder; scripts open only those."_s.arg(path)});
}

} // namespace

LinuxApplications::LinuxApplications(DesktopModule &module, BesidePrompts &besidePrompts, ScriptConsent &consent,
                                     const WaitLimit &limit)
    : m_besidePrompts(&besidePrompts), m_consent(&consent), m_limit(&limit),
      m_applications([&module] { return module.facet(&Desktop::taskbar); }, limit) {}

Result<> LinuxApplications::authorize(const Application &application) {
    return m_consent->allows(application.id) ? Result<>() : std::unexpected(notAuthorized(application.name));
}

std::optional<LinuxApplications::Application> LinuxApplications::applicationNamed(const QString &name) {
    return asApplication(knownApplicationNamed(name));
}

std::optional<LinuxApplications::Application> LinuxApplications::applicationWithId(const QString &id) {
    return asApplication(knownApplication(id));
}

bool LinuxApplications::isRunning(const QString &id) {
    return m_applications.isRunning(id);
}

bool LinuxApplications::isFrontmost(const QString &id) {
    const auto windows = m_applications.windowsOf(id);
    return windows && std::ranges::any_of(*windows, [](const auto &window) { return window.focused; });
}

Result<> LinuxApplications::launch(const QString &id) {
    if (isSystemEvents(id))
        return {};
    const auto entry = m_applications.withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    const auto before = m_applications.allWindows();
    if (!before)
        return isRunning(id) ? Result<>() : m_applications.start(*entry, {}); // there is no focus to keep
    if (isRunning(id)) {
        m_applications.awaitStart(*entry);
        return {};
    }
    if (auto started = m_applications.start(*entry, {}); !started)
        return started;
    const auto appeared = m_applications.awaitWindows(*entry, APPEAR);
    const auto front = std::ranges::find_if(*before, [](const auto &window) { return window.focused; });
    if (!appeared || appeared->empty() || front == before->end())
        return {};
    return giveBackFocus(front->handle);
}

Result<> LinuxApplications::activate(const QString &id) {
    if (isSystemEvents(id))
        return {};
    const auto entry = m_applications.withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    m_applications.awaitStart(*entry);
    auto windows = m_applications.windowsOf(entry->id);
    if (windows && windows->empty()) {
        if (auto started = m_applications.start(*entry, {}); !started)
            return started;
        windows = m_applications.awaitWindows(*entry, APPEAR);
    }
    if (!windows)
        return std::unexpected(windows.error());
    if (windows->empty())
        return std::unexpected(
            Failure{u"applications"_s, COULD_NOT_LAUNCH, u"%1 has shown no window."_s.arg(entry->name)});
    return bringToFront(windows->front().handle);
}

Result<> LinuxApplications::quit(const QString &id) {
    if (!isRunning(id))
        return {};
    const auto windows = m_applications.windowsOf(id);
    if (!windows)
        return std::unexpected(windows.error());
    for (const auto &window : *windows) {
        if (auto closed = closeWindow(window.handle); !closed)
            return closed;
    }
    const bool left = waitUntil(m_limit->after(LEAVE), [&] {
        const auto remaining = m_applications.windowsOf(id);
        return !remaining || remaining->empty();
    });
    // It asks about unsaved work, say: that is the owner's to answer.
    if (!left)
        return std::unexpected(Failure{u"applications"_s, USER_CANCELED, u"User canceled."_s});
    return {};
}

Result<DesktopEntry> LinuxApplications::entryFor(const QString &path) const {
    if (const auto found = mustBeThere(path); !found)
        return std::unexpected(found.error());
    if (isProgramFile(path))
        return std::unexpected(Failure{u"applications"_s, CANNOT_OPEN,
                                       u"%1 is a program; scripts open documents and folders."_s.arg(path)});
    const auto type = QMimeDatabase().mimeTypeForFile(path);
    for (const QString &name : QStringList{type.name()} + type.allAncestors()) {
        if (auto entry = m_applications.defaultFor(name))
            return *entry;
    }
    return std::unexpected(
        Failure{u"applications"_s, NO_APPLICATION, u"No application is installed that opens “%1”."_s.arg(path)});
}

Result<LinuxApplications::Application> LinuxApplications::openerOf(const QString &path) {
    const auto entry = entryFor(path);
    if (!entry)
        return std::unexpected(entry.error());
    return Application{entry->id, entry->name, entry->path};
}

bool LinuxApplications::managesFiles(const DesktopEntry &entry) const {
    const auto manager = m_applications.defaultFor(u"inode/directory"_s, u"FileManager"_s);
    return entry.categories.contains(u"FileManager"_s) || (manager && manager->id == entry.id);
}

Result<> LinuxApplications::open(const QString &id, const QStringList &paths) {
    const auto entry = m_applications.withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    for (const QString &path : paths) {
        if (const auto found = mustBeThere(path); !found)
            return found;
    }
    return managesFiles(*entry) ? openInFileManager(*entry, paths) : openWith(*entry, paths);
}

// It opens a file with the application for it, which gets an event by that, and shows folders itself.
Result<> LinuxApplications::openInFileManager(const DesktopEntry &manager, const QStringList &paths) {
    QStringList shown;
    for (const QString &path : paths) {
        const auto opener = QFileInfo(path).isDir() ? manager : entryFor(path);
        if (!opener)
            return std::unexpected(opener.error());
        if (opener->id == manager.id) {
            shown += path;
            continue;
        }
        if (const auto may = authorize({opener->id, opener->name, opener->path}); !may)
            return may;
        if (const auto opened = openWith(*opener, {path}); !opened)
            return opened;
    }
    return shown.isEmpty() ? Result<>() : openWith(manager, shown);
}

Result<> LinuxApplications::openWith(const DesktopEntry &entry, const QStringList &paths) {
    const auto id = entry.id;
    const auto before = m_applications.windowsOf(id);
    QStringList titles;
    if (before) {
        for (const auto &window : *before)
            titles.append(window.title);
    }
    if (auto started = m_applications.start(entry, paths); !started)
        return started;
    // The next statement wants to work in the window: a new one, or one with a new title.
    if (before) {
        waitUntil(m_limit->after(APPEAR), [&] {
            const auto windows = m_applications.windowsOf(id);
            if (!windows || !(handles(*windows) - handles(*before)).isEmpty())
                return true;
            return std::ranges::any_of(*windows, [&](const auto &window) { return !titles.contains(window.title); });
        });
    }
    return {};
}

// To start is all that the address can do, so that nobody is asked; but it starts nothing that the owner has refused,
// nor leaves the choice to a program that could choose such a one.
Result<> LinuxApplications::openLocation(const QString &url) {
    for (const auto &opener : m_applications.possibleOpeners(url)) {
        if (m_consent->decision(opener.id) == false)
            return std::unexpected(notAllowed(opener.name));
    }
    return m_applications.openLocation(url);
}

// Whatever it shows: it had the focus before.
Result<> LinuxApplications::giveBackFocus(std::uint64_t handle) {
    auto taskbar = m_besidePrompts->hold(&Desktop::taskbar);
    return taskbar ? (*std::move(taskbar))->activateWindow(handle) : std::unexpected(taskbar.error());
}

// A window is its application's by what it calls itself; whose it really is decides whether the script may reach it.
Result<> LinuxApplications::bringToFront(std::uint64_t handle) {
    auto windows = m_besidePrompts->hold(&Desktop::windows);
    return windows ? (*std::move(windows))->bringWindowToFront(handle) : std::unexpected(windows.error());
}

Result<> LinuxApplications::closeWindow(std::uint64_t handle) {
    auto windows = m_besidePrompts->hold(&Desktop::windows);
    return windows ? (*std::move(windows))->closeWindow(handle) : std::unexpected(windows.error());
}

} // namespace ombru
