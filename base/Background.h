// Work that may block (encoding a picture, a secret store, a database) runs here, off the main thread, in a small pool.
//
//     const auto picture = co_await background([file] { return encode(file); });
//
// The job gets all it needs by value, must not touch main-thread objects, and must not throw. The caller resumes on the
// main thread.
#pragma once
#include "base/Task.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <type_traits>

namespace ombru {

// Queues the job for the next free thread of the pool; jobs not begun when the application ends are dropped. Gives
// false: it may begin late.
bool runInBackground(Job job);

// On a thread of its own, outside the pool. Any thread. When so many of them wait for something that never comes that
// the program would suffer, the job waits for one of them. Whether it began at once.
bool runAlone(Job job);

// Whether no job runs or waits to run: all that they had to report is on its way. Main thread.
bool backgroundIsIdle();

// Waits until no job runs any more; false when the time is over first. Blocks: for the end of the program, which must
// then leave with std::_Exit, since a job that waits for something that never answers cannot be ended.
bool finishBackground(Clock::Duration limit);

template <class Work>
Task<std::invoke_result_t<Work>> background(Work work) {
    using Value = std::invoke_result_t<Work>;
    const Completion done;
    if constexpr (std::is_void_v<Value>) {
        runInBackground([done, work = std::move(work)]() mutable {
            work();
            Loop::main().post([done] { done.fire(); });
        });
        co_await done;
    } else {
        const auto value = std::make_shared<std::optional<Value>>();
        runInBackground([done, value, work = std::move(work)]() mutable {
            value->emplace(work());
            Loop::main().post([done, value = std::move(value)] { done.fire(); });
        });
        co_await done;
        co_return std::move(**value);
    }
}

// Where a job runs: runInBackground or runAlone.
using Runner = bool (*)(Job job);

// For a job that may wait for another program, or for the owner, so long that others would miss its thread: none when
// the limit passes or a stop is asked for first. The job is then left to itself and its value dropped; one that had to
// wait for a thread never begins then.
template <class Work>
Task<std::optional<std::invoke_result_t<Work>>> backgroundWithin(Clock::Duration limit, std::stop_token stop, Work work,
                                                                 Runner run = runAlone) {
    using Value = std::invoke_result_t<Work>;
    if (stop.stop_requested())
        co_return std::nullopt;
    Loop::main(); // made here, where it belongs, before the job looks for it
    const Completion over;
    const auto value = std::make_shared<std::optional<Value>>();
    const auto wanted = std::make_shared<std::atomic<bool>>(true);
    const bool begun = run([over, value, wanted, work = std::move(work)]() mutable {
        if (!*wanted)
            return;
        auto result = work();
        Loop::main().post([over, value = std::move(value), result = std::move(result)]() mutable {
            value->emplace(std::move(result));
            over.fire();
        });
    });
    const auto timer = Loop::main().after(limit, [over] { over.fire(); });
    const std::stop_callback onStop(stop, [over] { over.fire(); });
    co_await over;
    *wanted = begun;
    co_return std::move(*value);
}

// background() that is given up when a stop is asked for: then none.
template <class Work>
Task<std::optional<std::invoke_result_t<Work>>> backgroundUntil(std::stop_token stop, Work work) {
    constexpr auto UNLIMITED = std::chrono::hours(24 * 365);
    return backgroundWithin(UNLIMITED, std::move(stop), std::move(work), runInBackground);
}

// For jobs that need an answer from a program that may never give one. Its questions are put one at a time, each on a
// thread of its own; whoever asks gives up when the limit passes. A question given up on is left to itself, and until
// it is answered no other is put: a program that does not answer holds one thread. Any thread but the main one.
class Inquiry {
public:
    // Blocks. None when the limit, in real time, passes first. `work` gets all it needs by value.
    template <class Work>
    std::optional<std::invoke_result_t<Work>> ask(std::chrono::nanoseconds limit, Work work) const {
        const auto end = std::chrono::steady_clock::now() + limit;
        std::unique_lock lock(m_state->mutex);
        if (!m_state->changed.wait_until(lock, end, [this] { return !m_state->asking; }))
            return std::nullopt;
        m_state->asking = true;
        const auto answer = std::make_shared<std::optional<std::invoke_result_t<Work>>>();
        runAlone([state = m_state, answer, work = std::move(work)]() mutable {
            auto result = work();
            const std::lock_guard answered(state->mutex);
            answer->emplace(std::move(result));
            state->asking = false;
            state->changed.notify_all();
        });
        m_state->changed.wait_until(lock, end, [&answer] { return answer->has_value(); });
        return std::move(*answer);
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool asking = false;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>(); // shared with a question that was given up on
};

} // namespace ombru
