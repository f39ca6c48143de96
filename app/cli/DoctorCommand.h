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
    void showService();
    Task<> showAllowed(const Claude::State &claude);
    void show(const PermissionStates &permissions);

    Terminal m_terminal;
    std::stop_source m_stop;
    std::shared_ptr<AppleScriptRunner::Run> m_script = std::make_shared<AppleScriptRunner::Run>();
};

} // namespace ombru
