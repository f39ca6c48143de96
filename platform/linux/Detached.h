// Starts programs for the owner: applications, terminals. They are not our children, have a session of their own and no
// streams of ours, so that nothing that ends this program or its scripts ends them.
// Any thread; returns once the program runs or could not be started.
#pragma once
#include "base/Failure.h"

#include <QStringList>

namespace ombru {

// The program's name is searched for in PATH; it starts in the owner's home. A Failure has domain "process", errno as
// its code, and the name with the system's words.
Result<> startDetached(const QStringList &words);

} // namespace ombru
