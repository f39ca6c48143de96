// Runs a child process and collects what it prints, without blocking and without losing the tail. Main thread.
#pragma once
#include "base/Process.h"

namespace ombru {

struct Collected {
    QByteArray out;
    QByteArray err;
    int status = 0; // exit status, or the number of the signal that ended it
};

// Starts the process, which has no receivers for its streams, and resumes once it has ended and both are whole. Bounded
// only by process->terminate(). Fails when it cannot be started, or was ended for printing more than its limit.
Task<Result<Collected>> runCollecting(std::shared_ptr<Process> process);

} // namespace ombru
