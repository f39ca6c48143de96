// The taskbar of an X11 desktop, for the application itself.
#pragma once
#include "platform/linux/x11/ManagedWindows.h"

namespace ombru {

// A connection for each operation. Any thread, several at once.
class X11Taskbar : public Taskbar {
public:
    Result<std::vector<DesktopWindow>> windows() override;
    Result<> activateWindow(std::uint64_t handle) override;
    Result<> setMinimized(std::uint64_t handle, bool minimized) override;

private:
    template <class Operation>
    std::invoke_result_t<Operation, ManagedWindows &> with(Operation operation) const;

    const std::atomic<bool> m_stop = false; // never: its operations end by themselves
};

} // namespace ombru
