// The program of an application: the owner's processes on this display that run it, whether they have windows or not,
// and other applications that are the same one. Any thread; reads the system's list of processes.
#pragma once
#include "platform/linux/applications/Applications.h"

#include <chrono>
#include <optional>

namespace ombru {

// How long the youngest of them has been running; none when none runs. A program in a terminal, or in a container that
// hides its processes, is never among them: only its windows tell.
std::optional<std::chrono::milliseconds> runningSince(const DesktopEntry &entry);

// The applications whose program that process runs; none of those that run in a terminal or a container.
std::vector<DesktopEntry> applicationsRunBy(qint64 pid, const Applications &installed);

// Those that start the same program as this one, by whatever path; itself among them.
std::vector<DesktopEntry> applicationsOfSameProgram(const DesktopEntry &entry, const Applications &installed);

// Whether what it starts only chooses the program, by other settings of the owner's.
bool leavesTheChoice(const DesktopEntry &entry);

} // namespace ombru
