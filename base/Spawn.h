// Starts a child process. The part of Process, and of programs whose only thread waits for their children, that talks
// to the system; everybody else uses Process. Any thread; returns once the child's program runs or could not be
// started.
#pragma once
#include "base/Descriptor.h"
#include "base/Environment.h"
#include "base/Failure.h"

#include <QStringList>

#include <optional>
#include <sys/types.h>
#include <vector>

namespace ombru {

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

// Both ends close on exec. It holds more than usual where the system allows that.
Result<Pipe> makePipe();

struct SpawnRequest {
    QString program; // path of the executable, not searched for
    // NOLINTBEGIN(readability-redundant-member-init): without them the compiler wants every field named.
    QStringList arguments = {};
    QString directory = {};                      // empty: this process's
    std::optional<Environment> environment = {}; // none: this process's
    // NOLINTEND(readability-redundant-member-init)
    int input = -1; // the child's standard streams; -1 as the input: the null device
    int output = -1;
    int errors = -1;
    std::vector<int> inherited = {}; // open files that the child finds at 3, 4, ...
    bool ownSession = true;          // and a group of its own; otherwise it stays in this process's
};

// The new process's id. The child has default signal handling and no other open files. A Failure has domain "process",
// errno as its code, and the path with the system's words.
Result<pid_t> spawn(const SpawnRequest &request);

inline Failure processFailure(int error, const QString &what) {
    return {QStringLiteral("process"), error, what + QStringLiteral(": ") + qt_error_string(error)};
}

} // namespace ombru
