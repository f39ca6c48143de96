// The desktop module as osascript loads it, and programs for it to work with. For tests in a private desktop.
#pragma once
#include "osascript/desktop/Desktop.h"
#include "tests/support/Companion.h"
#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

#include <dlfcn.h>

namespace ombru::test {

// Where every window may be reached unless told otherwise.
inline std::unique_ptr<Desktop> openDesktop(
    const WaitLimit &limit = UNLIMITED, const MayReach &mayReach = [](const DesktopWindow &) { return Result<>(); }) {
    const QByteArray path = qgetenv("OMBRU_BIN") + "/ombru-desktop.so";
    static void *const module = dlopen(path.constData(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        ADD_FAILURE() << dlerror();
        std::abort();
    }
    const auto noneInstalled = [](const DesktopWindow &) { return std::optional<applescript::Application>(); };
    std::unique_ptr<Desktop> desktop;
    reinterpret_cast<decltype(&ombruOpenDesktop)>(dlsym(module, "ombruOpenDesktop"))({noneInstalled, mayReach, &limit},
                                                                                     desktop);
    return desktop;
}

inline std::string words(const Result<> &result) {
    return result ? "done" : result.error().description.toStdString();
}

inline std::optional<DesktopWindow> windowTitled(Desktop &desktop, const QString &title) {
    const auto all = desktop.taskbar().windows();
    if (!all)
        return std::nullopt;
    const auto found = std::ranges::find_if(*all, [&](const auto &window) { return window.title.contains(title); });
    return found == all->end() ? std::nullopt : std::optional(*found);
}

// Waits for the window, and gives it the focus.
inline DesktopWindow focusWindow(Desktop &desktop, const QString &title) {
    std::optional<DesktopWindow> window;
    if (!waitUntil([&] { return (window = windowTitled(desktop, title)).has_value(); })) {
        ADD_FAILURE() << "no window " << title.toStdString();
        std::abort();
    }
    const auto active = desktop.taskbar().activateWindow(window->handle);
    EXPECT_TRUE(active) << words(active);
    return *windowTitled(desktop, title);
}

// A shell command in the desktop, ended with the object.
inline std::unique_ptr<Companion> startProgram(const QByteArray &command, const char *package) {
    return std::make_unique<Companion>(
        QByteArrayList{"sh", "-c", "echo started >&%fd; exec %fd>&-; exec env --default-signal=HUP " + command},
        package);
}

inline void runProgram(const QByteArray &command) {
    ASSERT_EQ(std::system((command + " >/dev/null 2>&1").constData()), 0) << command.toStdString();
}

} // namespace ombru::test
