// Applications: finding them, and seeing that they run, come to the front, open files and quit.

#include "platform/linux/Detached.h"
#include "platform/linux/osascript/LinuxHost.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>

#include <algorithm>
#include <chrono>
#include <thread>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int FILE_NOT_FOUND = -43;
constexpr int USER_CANCELED = -128;
constexpr int NO_APPLICATION = -10814;
constexpr int COULD_NOT_LAUNCH = -10810;
constexpr auto APPEAR = 20s; // how long an application may take to show a window
constexpr auto LEAVE = 10s;  // and to close them
constexpr auto GLANCE = 50ms;

const QString SYSTEM_EVENTS = u"com.apple.systemevents"_s;

// Looks until the condition holds; false when the time is over.
template <class Condition>
bool waitFor(std::chrono::milliseconds time, Condition condition) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(GLANCE);
    }
    return true;
}

Failure notInstalled(const QString &id) {
    return {u"applications"_s, NO_APPLICATION, u"No application with the identifier “%1” is installed."_s.arg(id)};
}

QByteArray withoutScreen(const QByteArray &display) {
    const auto point = display.indexOf('.', display.lastIndexOf(':'));
    return point < 0 ? display : display.first(point);
}

// An owner may have several desktops; what runs on another one does not run here.
bool isOnThisDisplay(const QString &process) {
    const auto ours = qgetenv("DISPLAY");
    QFile environment(u"/proc/"_s + process + u"/environ"_s);
    if (ours.isEmpty() || !environment.open(QFile::ReadOnly))
        return ours.isEmpty();
    const auto variables = environment.readAll().split('\0');
    return std::ranges::any_of(variables, [&](const QByteArray &variable) {
        return variable.startsWith("DISPLAY=") && withoutScreen(variable.sliced(8)) == withoutScreen(ours);
    });
}

// A process of the owner's that runs the program, whether it has a window or not.
bool runsProgram(const QString &program) {
    if (program.isEmpty())
        return false;
    const auto processes = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return std::ranges::any_of(processes, [&](const QString &name) {
        if (!name.front().isDigit() || QFileInfo(u"/proc/"_s + name).ownerId() != ::getuid())
            return false;
        return QFileInfo(QFile::symLinkTarget(u"/proc/"_s + name + u"/exe"_s)).fileName() == program &&
               isOnThisDisplay(name);
    });
}

QSet<std::uint64_t> handles(const std::vector<DesktopWindow> &windows) {
    QSet<std::uint64_t> result;
    for (const auto &window : windows)
        result.insert(window.handle);
    return result;
}

} // namespace

const Applications &LinuxHost::applications() {
    if (!m_applications)
        m_applications.emplace();
    return *m_applications;
}

std::optional<LinuxHost::Application> LinuxHost::applicationNamed(const QString &name) {
    if (name.compare(u"System Events"_s, Qt::CaseInsensitive) == 0)
        return Application{SYSTEM_EVENTS, u"System Events"_s, {}};
    const auto *entry = applications().named(name);
    if (!entry)
        return {};
    return Application{entry->id, entry->name, entry->path};
}

std::optional<LinuxHost::Application> LinuxHost::applicationWithId(const QString &id) {
    if (id.compare(SYSTEM_EVENTS, Qt::CaseInsensitive) == 0)
        return Application{SYSTEM_EVENTS, u"System Events"_s, {}};
    const auto *entry = applications().withId(id);
    if (!entry)
        return {};
    return Application{entry->id, entry->name, entry->path};
}

const DesktopEntry *LinuxHost::entryOf(const DesktopWindow &window) {
    return applications().ofWindow(window.className, window.instance);
}

Result<std::vector<DesktopWindow>> LinuxHost::windowsOf(const QString &id) {
    auto windows = allWindows();
    if (!windows)
        return windows;
    std::erase_if(*windows, [&](const auto &window) {
        const auto *entry = entryOf(window);
        return !entry || entry->id != id;
    });
    return windows;
}

bool LinuxHost::isRunning(const QString &id) {
    if (id == SYSTEM_EVENTS)
        return true;
    const auto *entry = applications().withId(id);
    if (!entry)
        return false;
    if (const auto windows = windowsOf(id); windows && !windows->empty())
        return true;
    // Another application's terminal is not this one.
    return !entry->terminal && runsProgram(entry->program());
}

bool LinuxHost::isFrontmost(const QString &id) {
    const auto windows = windowsOf(id);
    return windows && std::ranges::any_of(*windows, [](const auto &window) { return window.focused; });
}

Result<> LinuxHost::start(const DesktopEntry &entry, const QStringList &files) {
    const auto commands = commandLines(entry, files);
    if (!commands)
        return std::unexpected(commands.error());
    QStringList terminal;
    if (entry.terminal) {
        const auto *emulator = applications().terminal();
        terminal = {emulator ? emulator->program() : u"x-terminal-emulator"_s, u"-e"_s};
    }
    for (const auto &command : *commands) {
        if (auto started = startDetached(terminal + command); !started)
            return std::unexpected(Failure{u"applications"_s, COULD_NOT_LAUNCH, started.error().description});
    }
    return {};
}

Result<> LinuxHost::launch(const QString &id) {
    if (isRunning(id))
        return {};
    const auto *entry = applications().withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    const auto before = allWindows();
    if (auto started = start(*entry, {}); !started)
        return started;
    if (!before)
        return {}; // without a desktop there is no focus to keep
    const bool appeared = waitFor(APPEAR, [&] {
        const auto windows = windowsOf(id);
        return !windows || !windows->empty();
    });
    const auto front = std::ranges::find_if(*before, [](const auto &window) { return window.focused; });
    if (!appeared || front == before->end())
        return {};
    const auto desktop = m_module.desktop();
    if (!desktop)
        return std::unexpected(desktop.error());
    return (*desktop)->activateWindow(front->handle);
}

Result<> LinuxHost::activate(const QString &id) {
    if (id == SYSTEM_EVENTS)
        return {};
    const auto *entry = applications().withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    auto windows = windowsOf(id);
    if (!windows)
        return std::unexpected(windows.error());
    if (windows->empty()) {
        if (auto started = start(*entry, {}); !started)
            return started;
        const bool appeared = waitFor(APPEAR, [&] {
            windows = windowsOf(id);
            return !windows || !windows->empty();
        });
        if (!windows)
            return std::unexpected(windows.error());
        if (!appeared)
            return std::unexpected(
                Failure{u"applications"_s, COULD_NOT_LAUNCH, u"%1 has shown no window."_s.arg(entry->name)});
    }
    const auto desktop = m_module.desktop();
    if (!desktop)
        return std::unexpected(desktop.error());
    return (*desktop)->activateWindow(windows->front().handle);
}

Result<> LinuxHost::quit(const QString &id) {
    if (!isRunning(id))
        return {};
    const auto windows = windowsOf(id);
    if (!windows)
        return std::unexpected(windows.error());
    const auto desktop = m_module.desktop();
    if (!desktop)
        return std::unexpected(desktop.error());
    for (const auto &window : *windows) {
        if (auto closed = (*desktop)->closeWindow(window.handle); !closed)
            return closed;
    }
    const bool left = waitFor(LEAVE, [&] {
        const auto remaining = windowsOf(id);
        return !remaining || remaining->empty();
    });
    // It asks about unsaved work, say: that is the owner's to answer.
    if (!left)
        return std::unexpected(Failure{u"applications"_s, USER_CANCELED, u"User canceled."_s});
    return {};
}

const DesktopEntry *LinuxHost::openerOf(const QString &path) {
    const auto type = QMimeDatabase().mimeTypeForFile(path);
    for (const QString &name : QStringList{type.name()} + type.allAncestors()) {
        if (const auto *entry = applications().defaultFor(name))
            return entry;
    }
    return nullptr;
}

Result<> LinuxHost::open(const QString &id, const QStringList &paths) {
    const auto *entry = applications().withId(id);
    if (!entry)
        return std::unexpected(notInstalled(id));
    for (const QString &path : paths) {
        if (path.startsWith(u'/') && !QFileInfo::exists(path))
            return std::unexpected(Failure{u"applications"_s, FILE_NOT_FOUND, u"File %1 wasn’t found."_s.arg(path)});
    }
    if (entry != applications().defaultFor(u"inode/directory"_s, u"FileManager"_s))
        return openWith(*entry, paths);
    // Whoever manages files opens a file with the application for it, and shows folders itself.
    QStringList shown;
    for (const QString &path : paths) {
        const auto *opener = QFileInfo(path).isFile() ? openerOf(path) : nullptr;
        if (!opener || opener == entry)
            shown += path;
        else if (auto opened = openWith(*opener, {path}); !opened)
            return opened;
    }
    return shown.isEmpty() ? Result<>() : openWith(*entry, shown);
}

Result<> LinuxHost::openWith(const DesktopEntry &entry, const QStringList &paths) {
    const auto id = entry.id;
    const auto before = windowsOf(id);
    QStringList titles;
    if (before) {
        for (const auto &window : *before)
            titles.append(window.title);
    }
    if (auto started = start(entry, paths); !started)
        return started;
    // The next statement wants to work in the window: a new one, or one with a new title.
    if (before) {
        waitFor(APPEAR, [&] {
            const auto windows = windowsOf(id);
            if (!windows || !(handles(*windows) - handles(*before)).isEmpty())
                return true;
            return std::ranges::any_of(*windows, [&](const auto &window) { return !titles.contains(window.title); });
        });
    }
    return {};
}

} // namespace ombru
