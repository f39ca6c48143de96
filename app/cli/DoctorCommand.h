// `ombru doctor`: what of all that a task needs works here, and what to do about the rest.
#pragma once
#include "agent/AppleScriptRunner.h"
#include "agent/Claude.h"
#include "app/cli/Terminal.h"
#include "base/Task.h"
#include "permissions/Permission.h"

namespace ombru {

class DoctorCommand {
public:
    Task<int> run(); // the exit status: 0 when a task could run, 1 when something it needs is missing
    void interrupt();

private:
    // Each shows what it found, and tells whether a task has what it needs.
    Task<bool> lookAtDesktop();
    Task<bool> lookAtPlaces();
    void showService();
    Task<bool> showAllowed(const Claude::State &claude);
    void show(const PermissionStates &permissions);

    Terminal m_terminal;
    std::stop_source m_stop;
    bool m_displayHangs = false; // it is not waited for long again then
    std::shared_ptr<AppleScriptRunner::Run> m_script = std::make_shared<AppleScriptRunner::Run>();
};

} // namespace ombru
