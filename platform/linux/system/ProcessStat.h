// What the system tells of a process. `process` is its directory, "/proc/1234". Any thread.
#pragma once
#include <QString>

#include <optional>
#include <sys/types.h>

namespace ombru {

struct ProcessStat {
    pid_t parent = 0;
    pid_t group = 0;
    quint64 start = 0;  // ticks since the computer's start
    bool ended = false; // and not waited for yet

    bool operator==(const ProcessStat &) const = default;
};

// None when there is no such process.
std::optional<ProcessStat> processStat(const QString &process);

// The full path of its program; one that was replaced or removed while it runs keeps its name. Empty when it may not be
// looked at.
QString processProgram(const QString &process);

} // namespace ombru
