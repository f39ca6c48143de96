// Reading and requesting the privacy permissions, and starting anew after a grant that only a new process sees.
// Stateless operations; each says on which thread.
#pragma once
#include "base/Failure.h"
#include "base/Task.h"
#include "permissions/Permission.h"

#include <QCoreApplication>

#include <functional>
#include <stop_token>

namespace ombru::Permissions {

constexpr Clock::Duration LIMIT = std::chrono::seconds(15);     // for a system that does not answer
constexpr Clock::Duration ANSWERING = std::chrono::minutes(10); // for an owner who does not answer a prompt

// Asks the owner nothing. Not on the main thread: blocks while the system answers. When automation cannot be judged
// because its application does not run, that is started, so that the next look can.
Permission::State state(const QString &id);

// Has the system ask the owner, and opens the settings where it is still not allowed then. Main thread; a stop leaves
// the prompt alone and opens nothing.
Task<> request(Permission permission, std::stop_token stop = {});

// Opens the permission's pane. Main thread; returns at once. What cannot be opened is in the system log.
void openSettings(const Permission &permission);

// Opens the settings at that anchor; the same rules.
void openSettingsPane(const QString &pane);

// Ends this program, by `terminate`, and opens it again. Main thread. After a Failure it goes on running.
Result<> relaunch(std::function<void()> terminate = QCoreApplication::quit);

} // namespace ombru::Permissions
