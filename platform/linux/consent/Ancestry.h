// The processes above one, and what the system tells of them. `processes` is a directory in the form of /proc, and
// `process` one in it, "/proc/1234". Any thread.
#pragma once
#include "base/Environment.h"

#include <QString>

#include <optional>
#include <vector>

namespace ombru {

struct Ancestor {
    qint64 pid = 0;
    QString program; // full path; empty when it may not be looked at
};

struct Ancestry {
    std::vector<Ancestor> all; // the parent first
    bool whole = true;         // false when one changed while we looked: then there may be more
};

Ancestry ancestryOf(const QString &processes, qint64 pid);

// Of this program, as /proc counts: in a namespace of processes it goes by another number there.
qint64 ownNumber();

// What it was started with; none when it may not be looked at.
std::optional<Environment> environmentOf(const QString &process);

// Of the lines "NAME:\t..." of its status, the words behind that name.
QList<QByteArray> statusOf(const QString &process, const QByteArray &name);

} // namespace ombru
