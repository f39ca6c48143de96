// A script's dialogs: each one is a program beside this one, which shows it and ends with the answer. One thread; waits
// for it. What it needs outlives it.
#pragma once
#include "applescript/host/Dialogs.h"
#include "osascript/ScriptConsent.h"

namespace ombru {

class LinuxDialogs : public applescript::Dialogs {
public:
    explicit LinuxDialogs(ScriptConsent &consent) : m_consent(&consent) {}

    Result<applescript::DialogAnswer> ask(const applescript::DialogRequest &request) override;

private:
    ScriptConsent *m_consent;
};

// What stands in the title bar: first whose script it is, so that no title of the script's own looks like a question of
// another program's.
QString dialogTitle(const QString &client, const QString &title);

} // namespace ombru
