// This computer as a script works it. What needs the graphical desktop loads it at the first use. One thread.
#pragma once
#include "applescript/host/Host.h"
#include "osascript/LinuxApplications.h"
#include "osascript/LinuxDialogs.h"
#include "osascript/LinuxSystem.h"

namespace ombru {

class LinuxHost : public applescript::Host {
public:
    LinuxHost();

    applescript::System &system() override { return m_system; }
    applescript::Dialogs &dialogs() override { return m_dialogs; }
    applescript::Applications &applications() override { return m_applications; }

    Result<const applescript::Windows *> windows() override;
    Result<applescript::Held<applescript::Windows>> windowsToChange() override;
    Result<applescript::Held<applescript::Input>> input() override;
    Result<applescript::Clipboard *> clipboard() override;
    Result<applescript::Notifications *> notifications() override;

private:
    ScriptConsent m_consent;
    DesktopModule m_module;
    BesidePrompts m_besidePrompts{m_module, m_consent};
    LinuxSystem m_system;
    LinuxDialogs m_dialogs;
    LinuxApplications m_applications{m_module, m_besidePrompts, m_consent};
};

} // namespace ombru
