// ombru-desktop.so: the Desktop that its parts make up.
#include "osascript/desktop/Clipboard.h"
#include "osascript/desktop/Desktop.h"
#include "osascript/desktop/Keyboard.h"
#include "osascript/desktop/Pointer.h"
#include "osascript/desktop/ScriptNotification.h"
#include "platform/linux/x11/ManagedWindows.h"

#include <mutex>
#include <xcb/xtest.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

using namespace applescript;

class LinuxDesktop : public Desktop {
public:
    LinuxDesktop() = default;
    ~LinuxDesktop() override { restore(); }
    LinuxDesktop(const LinuxDesktop &) = delete;
    LinuxDesktop &operator=(const LinuxDesktop &) = delete;

    Result<std::vector<DesktopWindow>> windows() override {
        return withWindows([](ManagedWindows &all) -> Result<std::vector<DesktopWindow>> { return all.all(); });
    }
    Result<> activateWindow(std::uint64_t handle) override {
        return withWindows([&](ManagedWindows &all) { return all.activate(handle); });
    }
    Result<> raiseWindow(std::uint64_t handle) override {
        return withWindows([&](ManagedWindows &all) { return all.raise(handle); });
    }
    Result<> closeWindow(std::uint64_t handle) override {
        return withWindows([&](ManagedWindows &all) { return all.close(handle); });
    }
    Result<> setMinimized(std::uint64_t handle, bool minimized) override {
        return withWindows([&](ManagedWindows &all) { return all.setMinimized(handle, minimized); });
    }
    Result<> moveWindow(std::uint64_t handle, QPoint position) override {
        return withWindows([&](ManagedWindows &all) { return all.move(handle, position); });
    }
    Result<> resizeWindow(std::uint64_t handle, QSize size) override {
        return withWindows([&](ManagedWindows &all) { return all.resize(handle, size); });
    }

    Result<> type(const QString &text, Modifiers modifiers) override {
        return withInput([&](X11 &x11) { return m_keyboard.type(x11, text, modifiers); });
    }
    Result<> pressKey(int keyCode, Modifiers modifiers) override {
        return withInput([&](X11 &x11) { return m_keyboard.press(x11, keyCode, modifiers); });
    }
    Result<> holdKey(int keyCode, bool down) override {
        return withInput([&](X11 &x11) { return m_keyboard.hold(x11, keyCode, down); });
    }
    Result<> holdModifier(Modifier modifier, bool down) override {
        return withInput([&](X11 &x11) { return m_keyboard.hold(x11, modifier, down); });
    }
    Result<> click(QPoint at, Click click, Modifiers modifiers) override {
        return withInput(
            [&](X11 &x11) { return m_keyboard.with(x11, modifiers, [&] { return clickAt(x11, at, click); }); });
    }

    Result<QString> clipboard() override { return withX11(readClipboard); }
    Result<> setClipboard(const QString &text) override {
        const std::lock_guard lock(m_oneAtATime);
        return writeClipboard(text);
    }
    Result<> notify(const NotificationRequest &request) override {
        const std::lock_guard lock(m_oneAtATime);
        return showScriptNotification(request);
    }

    void restore() override {
        m_stop = true;
        const std::lock_guard lock(m_oneAtATime);
        if (!m_keyboard.holds())
            return;
        const std::atomic<bool> goOn = false;
        if (const auto x11 = X11::open(goOn))
            m_keyboard.releaseAll(*x11);
    }

private:
    template <class Operation>
    std::invoke_result_t<Operation, X11 &> withX11(Operation operation) {
        const std::lock_guard lock(m_oneAtATime);
        auto x11 = X11::open(m_stop);
        if (!x11)
            return std::unexpected(x11.error());
        return operation(*x11);
    }

    template <class Operation>
    std::invoke_result_t<Operation, ManagedWindows &> withWindows(Operation operation) {
        return withX11([&](X11 &x11) -> std::invoke_result_t<Operation, ManagedWindows &> {
            auto windows = ManagedWindows::of(std::move(x11));
            if (!windows)
                return std::unexpected(windows.error());
            return operation(*windows);
        });
    }

    template <class Operation>
    Result<> withInput(Operation operation) {
        return withX11([&](X11 &x11) -> Result<> {
            const auto *extension = xcb_get_extension_data(x11.connection(), &xcb_test_id);
            if (extension && extension->present)
                return operation(x11);
            return std::unexpected(desktopFailure(
                CANNOT_DO_IT, u"The display does not accept keys and clicks from programs (no XTEST)."_s));
        });
    }

    std::mutex m_oneAtATime;
    std::atomic<bool> m_stop = false;
    Keyboard m_keyboard;
};

} // namespace
} // namespace ombru

extern "C" __attribute__((visibility("default"))) void ombruOpenDesktop(std::unique_ptr<ombru::Desktop> &desktop,
                                                                        ombru::Failure &) {
    desktop = std::make_unique<ombru::LinuxDesktop>();
}
