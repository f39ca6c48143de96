// Processes, windows and input: the desktop's module, told about applications.

#include "osascript/LinuxHost.h"
#include "platform/linux/consent/PromptLock.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace applescript;

namespace {

constexpr int NO_SUCH_OBJECT = -1728;
constexpr int CANNOT_DO_IT = -10000;

QString executableOf(qint64 pid) {
    return QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName();
}

} // namespace

Result<std::vector<DesktopWindow>> LinuxHost::windowsOf(qint64 pid) {
    auto windows = m_applications.allWindows();
    if (windows)
        std::erase_if(*windows, [pid](const auto &window) { return window.pid != pid; });
    return windows;
}

Result<std::vector<ProcessInfo>> LinuxHost::processes() {
    const auto windows = m_applications.allWindows();
    if (!windows)
        return std::unexpected(windows.error());
    std::vector<ProcessInfo> processes;
    for (const auto &window : *windows) {
        auto process = std::ranges::find(processes, window.pid, &ProcessInfo::pid);
        if (process == processes.end()) {
            const auto entry = m_applications.ofWindow(window);
            const auto executable = executableOf(window.pid);
            const auto plain = executable.isEmpty() ? window.className : executable;
            processes.push_back({window.pid, entry ? entry->name : plain, entry ? entry->id : plain, false, false});
            process = std::prev(processes.end());
        }
        process->frontmost |= window.focused;
        process->visible |= !window.minimized;
    }
    return processes;
}

Result<std::vector<WindowInfo>> LinuxHost::windows(qint64 pid) {
    const auto windows = windowsOf(pid);
    if (!windows)
        return std::unexpected(windows.error());
    std::vector<WindowInfo> result;
    for (const auto &window : *windows)
        result.push_back({window.handle, window.title, window.position, window.size, window.minimized, window.focused});
    return result;
}

Result<> LinuxHost::bringToFront(qint64 pid) {
    const auto windows = windowsOf(pid);
    if (!windows)
        return std::unexpected(windows.error());
    if (windows->empty())
        return std::unexpected(Failure{u"desktop"_s, NO_SUCH_OBJECT, u"The process has no window any more."_s});
    return activateWindow(windows->front().handle);
}

Result<> LinuxHost::setVisible(qint64 pid, bool visible) {
    const auto windows = windowsOf(pid);
    if (!windows)
        return std::unexpected(windows.error());
    for (const auto &window : *windows) {
        if (auto done = setMinimized(window.handle, !visible); !done)
            return done;
    }
    return {};
}

// The rest is the module's alone.

template <class Operation>
auto LinuxHost::onDesktop(Operation operation) -> std::invoke_result_t<Operation, Desktop &> {
    const auto desktop = m_module.desktop();
    if (!desktop)
        return std::unexpected(desktop.error());
    return operation(**desktop);
}

// What could answer a prompt, or put one where a click is about to fall, waits until none is open.
template <class Operation>
Result<> LinuxHost::besidePrompts(Operation operation) {
    return onDesktop([&](Desktop &desktop) {
        const auto noPrompt = PromptLock::forInput(consent().database());
        if (!noPrompt)
            return Result<>(std::unexpected(Failure{u"desktop"_s, CANNOT_DO_IT, noPrompt.error().description}));
        return operation(desktop);
    });
}

Result<> LinuxHost::activateWindow(std::uint64_t handle) {
    return besidePrompts([&](Desktop &desktop) { return desktop.activateWindow(handle); });
}

Result<QString> LinuxHost::text() {
    return onDesktop([](Desktop &desktop) { return desktop.clipboard(); });
}

Result<> LinuxHost::raiseWindow(std::uint64_t handle) {
    return besidePrompts([&](Desktop &desktop) { return desktop.raiseWindow(handle); });
}

Result<> LinuxHost::closeWindow(std::uint64_t handle) {
    return besidePrompts([&](Desktop &desktop) { return desktop.closeWindow(handle); });
}

Result<> LinuxHost::setMinimized(std::uint64_t handle, bool minimized) {
    return besidePrompts([&](Desktop &desktop) { return desktop.setMinimized(handle, minimized); });
}

Result<> LinuxHost::moveWindow(std::uint64_t handle, QPoint position) {
    return besidePrompts([&](Desktop &desktop) { return desktop.moveWindow(handle, position); });
}

Result<> LinuxHost::resizeWindow(std::uint64_t handle, QSize size) {
    return besidePrompts([&](Desktop &desktop) { return desktop.resizeWindow(handle, size); });
}

Result<> LinuxHost::type(const QString &text, Modifiers modifiers) {
    return besidePrompts([&](Desktop &desktop) { return desktop.type(text, modifiers); });
}

Result<> LinuxHost::pressKey(int keyCode, Modifiers modifiers) {
    return besidePrompts([&](Desktop &desktop) { return desktop.pressKey(keyCode, modifiers); });
}

Result<> LinuxHost::holdKey(int keyCode, bool down) {
    return besidePrompts([&](Desktop &desktop) { return desktop.holdKey(keyCode, down); });
}

Result<> LinuxHost::holdModifier(Modifier modifier, bool down) {
    return besidePrompts([&](Desktop &desktop) { return desktop.holdModifier(modifier, down); });
}

Result<> LinuxHost::click(QPoint at, Click click, Modifiers modifiers) {
    return besidePrompts([&](Desktop &desktop) { return desktop.click(at, click, modifiers); });
}

Result<> LinuxHost::setText(const QString &text) {
    return onDesktop([&](Desktop &desktop) { return desktop.setClipboard(text); });
}

Result<> LinuxHost::notify(const NotificationRequest &request) {
    return onDesktop([&](Desktop &desktop) { return desktop.notify(request); });
}

} // namespace ombru
