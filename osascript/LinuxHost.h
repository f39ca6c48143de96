// This computer as a script works it. What needs the graphical desktop loads it at the first use. One thread.
#pragma once
#include "applescript/host/Host.h"
#include "osascript/DesktopModule.h"
#include "platform/linux/applications/DesktopApplications.h"
#include "platform/linux/consent/ConsentCheck.h"

namespace ombru {

class LinuxHost : public applescript::Host,
                  public applescript::System,
                  public applescript::Dialogs,
                  public applescript::Applications,
                  public applescript::Windows,
                  public applescript::Input,
                  public applescript::Clipboard {
public:
    using Application = applescript::Application;
    using ProcessInfo = applescript::ProcessInfo;
    using WindowInfo = applescript::WindowInfo;
    using Modifiers = applescript::Modifiers;

    applescript::System &system() override { return *this; }
    applescript::Dialogs &dialogs() override { return *this; }
    applescript::Applications &applications() override { return *this; }
    Result<applescript::Windows *> windows() override { return facet<applescript::Windows>(); }
    Result<applescript::Input *> input() override { return facet<applescript::Input>(); }
    Result<applescript::Clipboard *> clipboard() override { return facet<applescript::Clipboard>(); }

    Result<applescript::ShellOutcome> shell(const QString &command) override;
    void delay(double seconds) override;
    QDateTime now() override;
    double random() override;
    Result<> notify(const applescript::NotificationRequest &request) override;
    Result<applescript::DialogAnswer> ask(const applescript::DialogRequest &request) override;
    Result<QString> text() override;
    Result<> setText(const QString &text) override;
    Result<> openLocation(const QString &url) override;
    QString path(applescript::Folder folder) override;
    void log(const QString &line) override;

    Result<> authorize(const Application &application) override;
    std::optional<Application> applicationNamed(const QString &name) override;
    std::optional<Application> applicationWithId(const QString &id) override;
    bool isRunning(const QString &id) override;
    bool isFrontmost(const QString &id) override;
    Result<> launch(const QString &id) override;
    Result<> activate(const QString &id) override;
    Result<> quit(const QString &id) override;
    Result<> open(const QString &id, const QStringList &paths) override;

    Result<std::vector<ProcessInfo>> processes() override;
    Result<std::vector<WindowInfo>> windows(qint64 pid) override;
    Result<> bringToFront(qint64 pid) override;
    Result<> setVisible(qint64 pid, bool visible) override;
    Result<> raiseWindow(std::uint64_t handle) override;
    Result<> closeWindow(std::uint64_t handle) override;
    Result<> setMinimized(std::uint64_t handle, bool minimized) override;
    Result<> moveWindow(std::uint64_t handle, QPoint position) override;
    Result<> resizeWindow(std::uint64_t handle, QSize size) override;

    Result<> type(const QString &text, Modifiers modifiers) override;
    Result<> pressKey(int keyCode, Modifiers modifiers) override;
    Result<> holdKey(int keyCode, bool down) override;
    Result<> holdModifier(applescript::Modifier modifier, bool down) override;
    Result<> click(QPoint at, applescript::Click click, Modifiers modifiers) override;

private:
    template <class Facet>
    Result<Facet *> facet() {
        const auto desktop = m_module.desktop();
        if (!desktop)
            return std::unexpected(desktop.error());
        return this;
    }
    Result<std::vector<DesktopWindow>> windowsOf(qint64 pid);
    template <class Operation>
    auto onDesktop(Operation operation) -> std::invoke_result_t<Operation, Desktop &>;
    template <class Operation>
    Result<> besidePrompts(Operation operation);
    Result<> activateWindow(std::uint64_t handle);
    ConsentCheck &consent();
    std::optional<DesktopEntry> openerOf(const QString &path); // the owner's application for it
    Result<> openWith(const DesktopEntry &entry, const QStringList &paths);

    DesktopModule m_module;
    DesktopApplications m_applications{[this]() -> Result<Taskbar *> { return m_module.desktop(); }};
    std::optional<ConsentCheck> m_consent; // made by the first event
};

} // namespace ombru
