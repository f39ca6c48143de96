// The applications that status and doctor show: the usual ones that are installed here, and whichever others the owner
// has decided about.
#pragma once
#include "permissions/AppAutomation.h"

#include <functional>

namespace ombru {

struct DecidedApplication {
    AutomationApp application;
    Permission::State state = Permission::State::unknown;
};

struct DecidedApplications {
    std::vector<DecidedApplication> all; // the usual ones first, in their order
    QString problem;                     // why the owner's decisions cannot be read; empty when they can
};

// `states` gives those of the usual ones and may block. Main thread; a computer that does not answer in time is a
// problem too.
Task<DecidedApplications> decidedApplications(std::function<PermissionStates()> states, std::stop_token stop);

} // namespace ombru
