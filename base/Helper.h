// A small program of ours that does one thing, so that what it needs for that is not in this process: started, given
// its input, and heard until it ends. Blocks; any thread, and as many at a time as there are threads for.
//
// It ends with the call, and with this process, however that ends: see base/Lifeline.h for its side. One that does not,
// after the end of its lifeline, is killed two seconds later.
#pragma once
#include "base/Clock.h"
#include "base/Failure.h"

#include <QByteArray>
#include <QStringList>

#include <stop_token>

namespace ombru {

struct HelperCall {
    // NOLINTBEGIN(readability-redundant-member-init): without them the compiler wants every field named.
    QString program; // path of the executable, not searched for
    QStringList arguments = {};
    QByteArray input = {}; // all that it can read
    std::stop_token stop = {};
    // NOLINTEND(readability-redundant-member-init)
    Clock::Duration limit = std::chrono::hours(24); // after which its lifeline ends
    qsizetype outputLimit = 64 << 20;               // bytes on both streams, after which it does, too
};

struct HelperAnswer {
    QByteArray output;
    QByteArray errors;
    int status = 0; // exit status, or 128 and the number of the signal that ended it
};

// Its answer, once it has ended by itself, however that was. A Failure has domain "process", and as its code errno when
// it could not be started, ETIMEDOUT after the limit, ECANCELED after a stop, EFBIG when it wrote too much.
Result<HelperAnswer> callHelper(const HelperCall &call);

} // namespace ombru
