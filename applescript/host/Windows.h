// Processes that have windows, and their windows. Positions and sizes are in points with their origin at the primary
// monitor's top left.
#pragma once
#include "base/Failure.h"

#include <QPoint>
#include <QSize>
#include <QString>

#include <cstdint>
#include <vector>

namespace ombru::applescript {

struct ProcessInfo {
    qint64 pid = 0;
    QString name; // as the desktop shows the application
    QString id;   // the application's identifier; the executable's name when no desktop entry fits
    bool frontmost = false;
    bool visible = true; // false when every window is minimised
};

struct WindowInfo {
    std::uint64_t handle = 0; // valid while the window lives
    QString name;
    QPoint position;
    QSize size;
    bool minimized = false;
    bool focused = false;
};

class Windows {
public:
    virtual ~Windows() = default;

    virtual Result<std::vector<ProcessInfo>> processes() const = 0;        // topmost first
    virtual Result<std::vector<WindowInfo>> windows(qint64 pid) const = 0; // topmost first

    virtual Result<> bringToFront(qint64 pid) = 0;
    virtual Result<> bringWindowToFront(std::uint64_t handle) = 0; // with the focus
    virtual Result<> setVisible(qint64 pid, bool visible) = 0;
    virtual Result<> raiseWindow(std::uint64_t handle) = 0;
    virtual Result<> closeWindow(std::uint64_t handle) = 0; // asks
    virtual Result<> setMinimized(std::uint64_t handle, bool minimized) = 0;
    virtual Result<> moveWindow(std::uint64_t handle, QPoint position) = 0;
    virtual Result<> resizeWindow(std::uint64_t handle, QSize size) = 0;
};

} // namespace ombru::applescript
