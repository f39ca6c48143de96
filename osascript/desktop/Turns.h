// The operations of a script on its desktop take turns with the end of the program, and with the times when it is
// stopped: one at a time, until the end. Any thread; but for onDisplay() and anywhere(), only one.
#pragma once
#include "platform/linux/system/Standstill.h"
#include "platform/linux/x11/X11.h"

#include <mutex>

namespace ombru {

class Turns {
public:
    explicit Turns(const WaitLimit &limit) : m_limit(&limit) {}

    // Does it on a connection of its own. A Failure without a display, and once the end has come.
    template <class Operation>
    std::invoke_result_t<Operation, X11 &> onDisplay(Operation operation) {
        const auto turn = awaitTurn();
        auto x11 = X11::open(m_ended);
        if (!x11)
            return std::unexpected(x11.error());
        x11->limitWaits(*m_limit);
        x11->standStillBy(m_standstill);
        return operation(*x11);
    }

    // The same for what needs no display, and does not hurt after the end.
    template <class Operation>
    auto anywhere(Operation operation) {
        const auto turn = awaitTurn();
        return operation();
    }

    // Somebody waits for the turn in order to stop the program: an operation that can be done in parts ends a part.
    bool isRestWanted() const { return m_resting; }

    // Has no operation go on until goOn(): waits for the end of the one that runs, or after a moment for a place where
    // it waits itself. Calls the function with whether it is such a place; not where neither comes soon.
    template <class Operation>
    void rest(Operation operation) {
        using namespace std::chrono_literals;
        constexpr auto MOMENT = 500ms;
        constexpr auto LONGEST = 2s;
        m_resting = true;
        m_rest = std::unique_lock(m_oneAtATime, std::defer_lock);
        const auto begun = std::chrono::steady_clock::now();
        while (!m_rest.try_lock_for(5ms) && !m_standstill.isReached()) {
            const auto waited = std::chrono::steady_clock::now() - begun;
            if (waited > MOMENT)
                m_standstill.want();
            if (waited > LONGEST)
                return;
        }
        operation(!m_rest.owns_lock());
    }
    void goOn() {
        m_standstill.end();
        if (m_rest.owns_lock())
            m_rest.unlock();
        m_resting = false;
        m_resting.notify_all();
    }

    // Does the last one; what runs meanwhile ends soon.
    template <class Operation>
    void end(Operation operation) {
        m_ended = true;
        const std::lock_guard turn(m_oneAtATime);
        operation();
    }

    // In place of goOn(), before the end.
    void goOnToEnd() {
        m_ended = true;
        goOn();
    }

private:
    std::unique_lock<std::timed_mutex> awaitTurn() {
        m_resting.wait(true); // or this thread could be first again and again
        return std::unique_lock(m_oneAtATime);
    }

    const WaitLimit *m_limit;
    std::timed_mutex m_oneAtATime;
    std::atomic<bool> m_ended = false;
    std::atomic<bool> m_resting = false;
    Standstill m_standstill;
    std::unique_lock<std::timed_mutex> m_rest; // of the thread that rests
};

} // namespace ombru
