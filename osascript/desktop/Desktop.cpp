// ombru-desktop.so: the Desktop that its facets make up.
#include "osascript/desktop/Desktop.h"

#include "osascript/desktop/ScriptNotifications.h"
#include "osascript/desktop/X11Clipboard.h"
#include "osascript/desktop/X11Input.h"
#include "osascript/desktop/X11Windows.h"

namespace ombru {
namespace {

class LinuxDesktop : public Desktop {
public:
    LinuxDesktop(const ApplicationOf &applicationOf, const WaitLimit &limit)
        : m_turns(limit), m_windows(m_turns, applicationOf) {}
    ~LinuxDesktop() override { restore(); }
    LinuxDesktop(const LinuxDesktop &) = delete;
    LinuxDesktop &operator=(const LinuxDesktop &) = delete;

    Taskbar &taskbar() override { return m_windows; }
    applescript::Windows &windows() override { return m_windows; }
    applescript::Input &input() override { return m_input; }
    applescript::Clipboard &clipboard() override { return m_clipboard; }
    applescript::Notifications &notifications() override { return m_notifications; }

    void restore() override {
        m_turns.end([this] { m_input.releaseAll(); });
    }

private:
    Turns m_turns;
    X11Windows m_windows;
    X11Input m_input{m_turns};
    X11Clipboard m_clipboard{m_turns};
    ScriptNotifications m_notifications{m_turns};
};

} // namespace
} // namespace ombru

extern "C" __attribute__((visibility("default"))) void ombruOpenDesktop(const ombru::ApplicationOf &applicationOf,
                                                                        const ombru::WaitLimit &limit,
                                                                        std::unique_ptr<ombru::Desktop> &desktop) {
    desktop = std::make_unique<ombru::LinuxDesktop>(applicationOf, limit);
}
