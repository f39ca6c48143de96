#include "osascript/desktop/X11Windows.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ombru {

using applescript::ProcessInfo;
using applescript::WindowInfo;

namespace {

QString executableOf(qint64 pid) {
    return QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName();
}

std::vector<DesktopWindow> windowsOf(qint64 pid, std::vector<DesktopWindow> windows) {
    std::erase_if(windows, [pid](const auto &window) { return window.pid != pid; });
    return windows;
}

} // namespace

template <class Operation>
std::invoke_result_t<Operation, ManagedWindows &> X11Windows::withManaged(Operation operation) const {
    return m_turns->onDisplay([&](X11 &x11) -> std::invoke_result_t<Operation, ManagedWindows &> {
        auto windows = ManagedWindows::of(std::move(x11));
        if (!windows)
            return std::unexpected(windows.error());
        return operation(*windows);
    });
}

// A window is also whose the others of its process are.
Result<> X11Windows::mayReach(ManagedWindows &managed, const DesktopWindow &window) const {
    for (const auto &other : window.pid > 0 ? windowsOf(window.pid, managed.all()) : std::vector<DesktopWindow>()) {
        if (auto may = m_caller->mayReach(other); !may)
            return may;
    }
    return m_caller->mayReach(window);
}

template <class Change>
Result<> X11Windows::change(std::uint64_t handle, Change change) const {
    return withManaged([&](ManagedWindows &managed) -> Result<> {
        const auto may = mayReach(managed, managed.window(handle));
        return may ? change(managed) : may;
    });
}

Result<std::vector<DesktopWindow>> X11Windows::all() const {
    return withManaged([](ManagedWindows &managed) -> Result<std::vector<DesktopWindow>> { return managed.all(); });
}

Result<std::vector<DesktopWindow>> X11Windows::windows() {
    return all();
}

Result<> X11Windows::activateWindow(std::uint64_t handle) {
    return withManaged([&](ManagedWindows &managed) { return managed.activate(handle); });
}

Result<> X11Windows::setMinimized(std::uint64_t handle, bool minimized) {
    return change(handle, [&](ManagedWindows &managed) { return managed.setMinimized(handle, minimized); });
}

Result<std::vector<ProcessInfo>> X11Windows::processes() const {
    const auto windows = all();
    if (!windows)
        return std::unexpected(windows.error());
    std::vector<ProcessInfo> processes;
    for (const auto &window : *windows) {
        auto process = std::ranges::find(processes, window.pid, &ProcessInfo::pid);
        if (process == processes.end()) {
            const auto application = m_caller->applicationOf(window);
            const auto executable = executableOf(window.pid);
            const auto plain = executable.isEmpty() ? window.className : executable;
            processes.push_back({window.pid, application ? application->name : plain,
                                 application ? application->id : plain, false, false});
            process = std::prev(processes.end());
        }
        process->frontmost |= window.focused;
        process->visible |= !window.minimized;
    }
    return processes;
}

Result<std::vector<WindowInfo>> X11Windows::windows(qint64 pid) const {
    auto windows = all();
    if (!windows)
        return std::unexpected(windows.error());
    std::vector<WindowInfo> result;
    for (const auto &window : windowsOf(pid, std::move(*windows)))
        result.push_back({window.handle, window.title, window.position, window.size, window.minimized, window.focused});
    return result;
}

Result<> X11Windows::bringToFront(qint64 pid) {
    return withManaged([&](ManagedWindows &managed) -> Result<> {
        const auto windows = windowsOf(pid, managed.all());
        if (windows.empty())
            return std::unexpected(desktopFailure(NO_SUCH_OBJECT, u"The process has no window any more."_s));
        if (auto may = mayReach(managed, windows.front()); !may)
            return may;
        return managed.activate(windows.front().handle);
    });
}

Result<> X11Windows::bringWindowToFront(std::uint64_t handle) {
    return change(handle, [&](ManagedWindows &managed) { return managed.activate(handle); });
}

Result<> X11Windows::setVisible(qint64 pid, bool visible) {
    return withManaged([&](ManagedWindows &managed) -> Result<> {
        for (const auto &window : windowsOf(pid, managed.all())) {
            if (auto may = mayReach(managed, window); !may)
                return may;
            if (auto done = managed.setMinimized(window.handle, !visible); !done)
                return done;
        }
        return {};
    });
}

Result<> X11Windows::raiseWindow(std::uint64_t handle) {
    return change(handle, [&](ManagedWindows &managed) { return managed.raise(handle); });
}

Result<> X11Windows::closeWindow(std::uint64_t handle) {
    return change(handle, [&](ManagedWindows &managed) { return managed.close(handle); });
}

Result<> X11Windows::moveWindow(std::uint64_t handle, QPoint position) {
    return change(handle, [&](ManagedWindows &managed) { return managed.move(handle, position); });
}

Result<> X11Windows::resizeWindow(std::uint64_t handle, QSize size) {
    return change(handle, [&](ManagedWindows &managed) { return managed.resize(handle, size); });
}

} // namespace ombru
