// Starts a child process in a session, and so in a process group, of its own. The part of Process that talks to the
// system; everybody else uses Process. Any thread; returns once the child's program runs or could not be started.
#pragma once
#include "base/Descriptor.h"
#include "base/Environment.h"
#include "base/Failure.h"

#include <QStringList>

#include <optional>
#include <sys/types.h>

namespace ombru {

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

// Both ends close on exec, and neither is a standard stream's number. It holds more than usual where
// the system allows that.
Result<Pipe> makePipe();

struct SpawnRequest {
    QString program; // path of the executable, not searched for
    QStringList arguments;
    QString directory;                      // empty: this process's
    std::optional<Environment> environment; // none: this process's
    int input = -1;                         // the child's standard streams; -1 as the input: the null device
    int output = -1;
    int errors = -1;
};

// The new process's id, which is also its group's. The child has default signal handling and no other open files. A
// Failure has domain "process", errno as its code, and the path with the system's words.
Result<pid_t> spawn(const SpawnRequest &request);

inline Failure processFailure(int error, const QString &what) {
    return {QStringLiteral("process"), error, what + QStringLiteral(": ") + qt_error_string(error)};
}

} // namespace ombru
