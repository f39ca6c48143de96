// This computer as a script works it. What needs the graphical desktop loads it at the first use. One thread.
#pragma once
#include "applescript/host/Host.h"
#include "osascript/LinuxApplications.h"
#include "osascript/LinuxDialogs.h"
#include "osascript/LinuxSystem.h"
#include "osascript/Reach.h"

namespace ombru {

class LinuxHost : public applescript::Host {
public:
    LinuxHost();

    void limitWaits(std::optional<Clock::Time> end) override { m_limit.set(end); }

    applescript::System &system() override { return m_system; }
    applescript::Dialogs &dialogs() override { return m_dialogs; }
    applescript::Applications &applications() override { return m_applications; }

    Result<const applescript::Windows *> windows() override;
    Result<applescript::Held<applescript::Windows>> windowsToChange() override;
    Result<applescript::Held<applescript::Input>> input() override;
    Result<applescript::Clipboard *> clipboard() override;
    Result<applescript::Notifications *> notifications() override;

private:
    WaitLimit m_limit;
    ScriptConsent m_consent{m_limit};
    Reach m_reach{m_consent};
    DesktopModule m_module;
    BesidePrompts m_besidePrompts{m_module, m_consent, m_limit};
    LinuxSystem m_system;
    LinuxDialogs m_dialogs{m_consent};
    LinuxApplications m_applications{m_module, m_besidePrompts, m_consent, m_limit};
};

} // namespace ombru
