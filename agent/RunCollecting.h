// Runs a child process and collects what it prints, without blocking and without losing the tail. Main thread.
#pragma once
#include "base/Process.h"

namespace ombru {

struct Collected {
    QByteArray out;
    QByteArray err;
    int status = 0; // exit status, or the number of the signal that ended it
    int signal = 0; // that number; 0 when it was none
};

// Starts the process, which has no receivers for its streams, and resumes once it has ended and both are whole. Bounded
// only by process->terminate(). A Failure of domain "process" means that it could not be started; one of domain "run",
// that it was ended: EFBIG for printing more than its limit.
Task<Result<Collected>> runCollecting(std::shared_ptr<Process> process);

// The same, but the process is ended when the limit passes (ETIMEDOUT) or the stop is asked for (ECANCELED).
Task<Result<Collected>> collectWithin(std::shared_ptr<Process> process, Clock::Duration limit, std::stop_token stop);

} // namespace ombru
