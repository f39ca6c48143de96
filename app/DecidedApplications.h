// The applications that status and doctor show: the usual ones that are installed here, and whichever others the owner
// has decided about.
#pragma once
#include "permissions/AppAutomation.h"

namespace ombru {

struct DecidedApplication {
    AutomationApp application;
    Permission::State state = Permission::State::unknown;
};

struct DecidedApplications {
    std::vector<DecidedApplication> all; // the usual ones first, in their order
    QString problem;                     // why the owner's decisions cannot be read; empty when they can
};

// `states` are those of the usual ones, as AppAutomation::states() gives them. Blocks: not on the main thread.
DecidedApplications decidedApplications(const PermissionStates &states);

} // namespace ombru
