// Work that may block (encoding a picture, a secret store, a database) runs here, off the main thread, in a small pool.
//
//     const auto picture = co_await background([file] { return encode(file); });
//
// The job gets all it needs by value, must not touch main-thread objects, and must not throw. The caller resumes on the
// main thread.
#pragma once
#include "base/Task.h"

#include <type_traits>

namespace ombru {

// Queues the job for the next free thread of the pool; jobs not begun when the application ends are dropped.
void runInBackground(Job job);

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

// The same for a job that may wait for another program: none when the limit passes or a stop is asked for first. The
// job is then left to itself and its value dropped.
template <class Work>
Task<std::optional<std::invoke_result_t<Work>>> backgroundWithin(Clock::Duration limit, std::stop_token stop,
                                                                 Work work) {
    using Value = std::invoke_result_t<Work>;
    const Completion over;
    const auto value = std::make_shared<std::optional<Value>>();
    runInBackground([over, value, work = std::move(work)]() mutable {
        auto result = work();
        Loop::main().post([over, value = std::move(value), result = std::move(result)]() mutable {
            value->emplace(std::move(result));
            over.fire();
        });
    });
    const auto timer = Loop::main().after(limit, [over] { over.fire(); });
    const std::stop_callback onStop(stop, [over] { over.fire(); });
    co_await over;
    co_return std::move(*value);
}

} // namespace ombru
