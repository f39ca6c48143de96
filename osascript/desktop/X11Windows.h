// The processes and windows of an X11 desktop, as its taskbar and its scripts see them. One thread; each operation
// opens the display for itself.
#pragma once
#include "osascript/desktop/Desktop.h"
#include "osascript/desktop/Turns.h"
#include "platform/linux/x11/ManagedWindows.h"

namespace ombru {

class X11Windows : public Taskbar, public applescript::Windows {
public:
    X11Windows(Turns &turns, const DesktopCaller &caller) : m_turns(&turns), m_caller(&caller) {} // which outlive it

    Result<std::vector<DesktopWindow>> windows() override;
    Result<> activateWindow(std::uint64_t handle) override;
    Result<> setMinimized(std::uint64_t handle, bool minimized) override; // the taskbar's as well as the script's

    Result<std::vector<applescript::ProcessInfo>> processes() const override;
    Result<std::vector<applescript::WindowInfo>> windows(qint64 pid) const override;
    Result<> bringToFront(qint64 pid) override;
    Result<> bringWindowToFront(std::uint64_t handle) override;
    Result<> setVisible(qint64 pid, bool visible) override;
    Result<> raiseWindow(std::uint64_t handle) override;
    Result<> closeWindow(std::uint64_t handle) override;
    Result<> moveWindow(std::uint64_t handle, QPoint position) override; // of its frame
    Result<> resizeWindow(std::uint64_t handle, QSize size) override;

private:
    template <class Operation>
    std::invoke_result_t<Operation, ManagedWindows &> withManaged(Operation operation) const;
    // Of a window whose owner lets the script.
    template <class Change>
    Result<> change(std::uint64_t handle, Change change) const;
    Result<std::vector<DesktopWindow>> all() const;
    Result<> mayReach(ManagedWindows &managed, const DesktopWindow &window) const;

    Turns *m_turns;
    const DesktopCaller *m_caller;
};

} // namespace ombru
