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

} // namespace ombru
