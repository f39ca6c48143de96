// What the owner allows, from one look at the computer: the answer for whoever decides by it or shows it. Values; the
// looks are for the main thread, and what may wait happens in the background.
#pragma once
#include "base/Task.h"
#include "permissions/AppAutomation.h"
#include "permissions/Permissions.h"

#include <functional>
#include <stop_token>
#include <vector>

namespace ombru {

struct AllowedApplication {
    AutomationApp application;
    Permission::State state = Permission::State::unknown; // unknown: the owner has not decided, or nobody could tell

    bool operator==(const AllowedApplication &) const = default;
};

struct Allowed {
    PermissionStates permissions;           // of Permissions::all; empty before the first look
    PermissionStates applications;          // of the usual ones, AppAutomation::candidates, that are installed
    std::vector<AllowedApplication> others; // besides those, the ones that the owner has decided about
    QString problem;                        // why the owner's decisions cannot be read; empty when they can
    bool answered = false;                  // false: the computer did not tell in time, and applications are not known

    // The usual applications in their order, and the others.
    std::vector<AllowedApplication> allApplications() const;
};

// Asks the owner nothing. `onPermissions` hears of the permissions as soon as they are known, unless there was a stop;
// after a stop the result means nothing. The limit is for each look.
Task<Allowed> lookAtAllowed(std::stop_token stop, std::function<void(const PermissionStates &)> onPermissions = {},
                            Clock::Duration limit = Permissions::LIMIT);

// The permissions alone. One that is not told in time is unknown.
Task<PermissionStates> lookAtPermissions(std::stop_token stop, Clock::Duration limit = Permissions::LIMIT);

} // namespace ombru
