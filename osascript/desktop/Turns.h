// The operations of a script on its desktop take turns with the end of the program: one at a time, until the end.
// Any thread.
#pragma once
#include "platform/linux/x11/X11.h"

#include <mutex>

namespace ombru {

class Turns {
public:
    explicit Turns(const WaitLimit &limit) : m_limit(&limit) {}

    // Does it on a connection of its own. A Failure without a display, and once the end has come.
    template <class Operation>
    std::invoke_result_t<Operation, X11 &> onDisplay(Operation operation) {
        const std::lock_guard turn(m_oneAtATime);
        auto x11 = X11::open(m_ended);
        if (!x11)
            return std::unexpected(x11.error());
        x11->limitWaits(*m_limit);
        return operation(*x11);
    }

    // The same for what needs no display, and does not hurt after the end.
    template <class Operation>
    auto anywhere(Operation operation) {
        const std::lock_guard turn(m_oneAtATime);
        return operation();
    }

    // Does the last one; what runs meanwhile ends soon.
    template <class Operation>
    void end(Operation operation) {
        m_ended = true;
        const std::lock_guard turn(m_oneAtATime);
        operation();
    }

private:
    const WaitLimit *m_limit;
    std::mutex m_oneAtATime;
    std::atomic<bool> m_ended = false;
};

} // namespace ombru
