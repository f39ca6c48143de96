// Learning that a child process has ended without waiting for it. Any thread.
#pragma once
#include "base/Descriptor.h"
#include "base/Failure.h"

#include <chrono>
#include <sys/types.h>

namespace ombru {

// A descriptor that becomes readable once the child has ended and stays so. The child is one of this process's that was
// not waited for yet; waiting remains the caller's. A Failure has domain "process", errno as its code, and names
// the program.
Result<Descriptor> watchExit(pid_t child, const QString &program);

// Blocks until the child of which that tells has ended; false when the limit, in real time, passes first.
bool endsWithin(const Descriptor &exit, std::chrono::milliseconds limit);

} // namespace ombru
