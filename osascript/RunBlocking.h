// Runs a child process to its end while this thread waits, as a script does. The child stays in this program's process
// group, so that whoever ends the group ends it too; a signal that ends this program alone first ends everything that
// the script has started, but what it opened for the owner. One thread.
#pragma once
#include "applescript/host/System.h"
#include "base/Clock.h"
#include "base/Spawn.h"

#include <QStringList>

namespace ombru {

// The words are a program's full path and its arguments; the input is all it can read; without an environment it has
// this program's; at `end` it is ended, which is a Failure. Returns once the child itself has ended, with everything it
// had written by then: what it left running is not waited for. A Failure has domain "process".
Result<applescript::ShellOutcome> runBlocking(const QStringList &words, const QByteArray &input = {},
                                              const std::optional<Environment> &environment = {},
                                              std::optional<Clock::Time> end = {});

} // namespace ombru
