// Coroutines of the main thread and what they wait for. A Task starts when it is called and runs until its first wait;
// every wait ends in an event loop turn of its own. Main thread only.
#pragma once
#include "base/Clock.h"
#include "base/Failure.h"
#include "base/Loop.h"

#include <QCoro/QCoroTask>

#include <coroutine>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace ombru {

template <class T = void>
using Task = QCoro::Task<T>;

// Fired once, awaited by one. The waiter resumes from the event loop, so it may destroy whoever fired.
class Completion {
public:
    void fire() const {
        if (std::exchange(m_state->fired, true))
            return;
        Loop::main().post([state = m_state] {
            state->ready = true;
            if (const auto waiter = std::exchange(state->waiter, {}))
                waiter.resume();
        });
    }

    auto operator co_await() const { return Wait{m_state}; }

private:
    struct State {
        bool fired = false;
        bool ready = false;
        std::coroutine_handle<> waiter;
    };
    struct Wait {
        std::shared_ptr<State> state;
        bool await_ready() const noexcept { return state->ready; }
        void await_suspend(std::coroutine_handle<> waiter) const noexcept { state->waiter = waiter; }
        void await_resume() const noexcept {}
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

// Waits that long, or until a stop is asked for; the caller looks which.
Task<> sleep(Clock::Duration duration, std::stop_token stop = {});

// Owns the coroutines that somebody started: none is ever dropped. Drain it before what they use goes away.
class TaskScope {
public:
    TaskScope() = default;
    TaskScope(const TaskScope &) = delete;
    TaskScope &operator=(const TaskScope &) = delete;
    ~TaskScope() { Q_ASSERT(m_state->running == 0); }

    // Tells the coroutines of this scope to end.
    std::stop_token token() const { return m_state->stop.get_token(); }
    int running() const { return m_state->running; }

    void start(Task<> task) { follow(m_state, std::move(task)); }

    // Asks all to stop and waits until the last one has ended. Not again before that.
    Task<> drain() {
        m_state->stop.request_stop();
        const auto state = m_state;
        while (state->running > 0) {
            state->idle = {};
            co_await state->idle;
        }
    }

private:
    struct State {
        std::stop_source stop;
        Completion idle;
        int running = 0;
    };
    static Task<> follow(std::shared_ptr<State> state, Task<> task) {
        ++state->running;
        co_await task;
        if (--state->running == 0)
            state->idle.fire();
    }
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace ombru
