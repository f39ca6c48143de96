// Starts programs that are the owner's from then on: in a session of their own, nobody's child, with the null device as
// standard streams, and marked as no part of a task. Nothing that later happens to this process or its group reaches
// them. Any thread.
#pragma once
#include "base/Failure.h"

#include <QStringList>

namespace ombru {

// `command` is the program (a path, or a name that PATH is searched for) and its arguments; `directory` is the owner's
// home when it is empty. Returns once the program runs or could not be started: a Failure with domain "process", errno
// as its code, and the program with the system's words.
Result<> startDetached(const QStringList &command, const QString &directory = {});

} // namespace ombru
