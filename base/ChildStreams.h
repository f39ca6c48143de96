// The pipes of a child that a thread waits for: the child gets its input, and what it writes is taken, as the pipes
// allow. One thread.
#pragma once
#include "base/Clock.h"
#include "base/Spawn.h"

#include <QByteArray>

#include <limits>
#include <optional>

namespace ombru {

class ChildStreams {
public:
    static Result<ChildStreams> open();

    // What the child has as its standard streams.
    int childsInput() const { return m_in.reading.number(); }
    int childsOutput() const { return m_out.writing.number(); }
    int childsErrors() const { return m_err.writing.number(); }

    struct Until {
        std::optional<Clock::Time> end = std::nullopt;          // none: for as long as it takes
        int stop = -1;                                          // a descriptor that is readable once nobody wants more
        qsizetype most = std::numeric_limits<qsizetype>::max(); // bytes that it may write
    };
    enum class Outcome { ended, late, stopped, overflowed };

    // Blocks until the child, of which that tells, has ended, or may go on no longer. To be called once it has started.
    Outcome attend(const Descriptor &child, QByteArray input, const Until &until);

    // After the child's end: what is in the pipes by now. What others go on writing is not waited for.
    void takeRest();

    QByteArray output;
    QByteArray errors;

private:
    void closeChildsEnds();

    Pipe m_in;
    Pipe m_out;
    Pipe m_err;
};

} // namespace ombru
