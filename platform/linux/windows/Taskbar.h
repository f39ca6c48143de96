// What a taskbar does with the windows of the desktop: lists them, activates and minimises one. One thread at a time.
// A Failure's code is the AppleScript error number and its description the message.
#pragma once
#include "base/Failure.h"

#include <QPoint>
#include <QSize>

#include <cstdint>
#include <vector>

namespace ombru {

struct DesktopWindow {
    std::uint64_t handle = 0; // valid while the window lives
    qint64 pid = 0;           // 0 when the window does not say
    QString className;        // WM_CLASS, "Mousepad"
    QString instance;         // WM_CLASS, "mousepad"
    QString title;
    QPoint position;
    QSize size;
    bool minimized = false;
    bool focused = false;
};

class Taskbar {
public:
    virtual ~Taskbar() = default;

    // Topmost first; without docks, desktops, menus and other windows that a taskbar would not list.
    virtual Result<std::vector<DesktopWindow>> windows() = 0;

    // Brings it back when it is minimised, raises it, gives it the focus. Returns once it has the focus; a Failure
    // after some seconds without.
    virtual Result<> activateWindow(std::uint64_t handle) = 0;

    virtual Result<> setMinimized(std::uint64_t handle, bool minimized) = 0;
};

} // namespace ombru
