// The applications of this computer: finding them, and seeing that they run, come to the front, open files and quit.
// One thread. What it needs outlives it.
#pragma once
#include "applescript/host/Applications.h"
#include "osascript/BesidePrompts.h"
#include "platform/linux/applications/DesktopApplications.h"

namespace ombru {

class LinuxApplications : public applescript::Applications {
public:
    using Application = applescript::Application;

    LinuxApplications(DesktopModule &module, BesidePrompts &besidePrompts, ScriptConsent &consent);

    Result<> authorize(const Application &application) override;
    std::optional<Application> applicationNamed(const QString &name) override;
    std::optional<Application> applicationWithId(const QString &id) override;
    bool isRunning(const QString &id) override;
    bool isFrontmost(const QString &id) override;
    Result<> launch(const QString &id) override;
    Result<> activate(const QString &id) override;
    Result<> quit(const QString &id) override;
    Result<> open(const QString &id, const QStringList &paths) override;
    Result<> openLocation(const QString &url) override;

private:
    Result<> activateWindow(std::uint64_t handle);
    Result<> closeWindow(std::uint64_t handle);
    std::optional<DesktopEntry> openerOf(const QString &path); // the owner's application for it
    Result<> openWith(const DesktopEntry &entry, const QStringList &paths);

    BesidePrompts *m_besidePrompts;
    ScriptConsent *m_consent;
    DesktopApplications m_applications;
};

} // namespace ombru
