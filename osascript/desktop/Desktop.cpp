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
    explicit LinuxDesktop(DesktopCaller caller) : m_caller(std::move(caller)) {}
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
    // The module has a clock of its own.
    void rest() override {
        m_turns.rest([this](bool midway) { m_input.rest(midway); });
        Clock::hold();
    }
    void goOn() override {
        Clock::goOn();
        m_turns.goOn();
    }
    void goOnToEnd() override {
        Clock::goOn();
        m_turns.goOnToEnd();
    }

private:
    DesktopCaller m_caller;
    Turns m_turns{*m_caller.limit};
    X11Windows m_windows{m_turns, m_caller};
    X11Input m_input{m_turns, m_caller.mayReach};
    X11Clipboard m_clipboard{m_turns};
    ScriptNotifications m_notifications{m_turns};
};

} // namespace
} // namespace ombru

extern "C" __attribute__((visibility("default"))) void ombruOpenDesktop(const ombru::DesktopCaller &caller,
                                                                        std::unique_ptr<ombru::Desktop> &desktop) {
    desktop = std::make_unique<ombru::LinuxDesktop>(caller);
}
