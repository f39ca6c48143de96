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

    LinuxApplications(DesktopModule &module, BesidePrompts &besidePrompts, ScriptConsent &consent,
                      const WaitLimit &limit);

    Result<> authorize(const Application &application) override;
    std::optional<Application> applicationNamed(const QString &name) override;
    std::optional<Application> applicationWithId(const QString &id) override;
    bool isRunning(const QString &id) override;
    bool isFrontmost(const QString &id) override;
    Result<> launch(const QString &id) override;
    Result<> activate(const QString &id) override;
    Result<> quit(const QString &id) override;
    Result<> open(const QString &id, const QStringList &paths) override;
    Result<Application> openerOf(const QString &path) override;
    Result<> openLocation(const QString &url) override;

private:
    Result<> giveBackFocus(std::uint64_t handle);
    Result<> bringToFront(std::uint64_t handle);
    Result<> closeWindow(std::uint64_t handle);
    bool managesFiles(const DesktopEntry &entry) const;
    Result<DesktopEntry> entryFor(const QString &path) const; // of the owner's application for a document
    Result<> openInFileManager(const DesktopEntry &manager, const QStringList &paths);
    Result<> openWith(const DesktopEntry &entry, const QStringList &paths);

    BesidePrompts *m_besidePrompts;
    ScriptConsent *m_consent;
    const WaitLimit *m_limit;
    DesktopApplications m_applications;
};

} // namespace ombru
