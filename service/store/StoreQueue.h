// The thread of the store: it may block there, and nothing else runs there. Made and ended on the main thread.
//
//     const auto account = co_await store.ask([token](Store &its) { return its.accounts.sessionOf(token, now); });
#pragma once
#include "base/SerialQueue.h"
#include "base/Task.h"
#include "service/store/Store.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace ombru {

class StoreQueue {
public:
    // One of low priority leaves the processor to whoever else of this program or of another one has to work, but for
    // a tenth: what waits for it on a busy computer takes longer, not for ever.
    enum class Priority { usual, low };
    explicit StoreQueue(std::unique_ptr<Store> store, Priority priority = Priority::usual);
    ~StoreQueue(); // after all that was asked
    StoreQueue(const StoreQueue &) = delete;
    StoreQueue &operator=(const StoreQueue &) = delete;

    using Work = std::move_only_function<void(Store &)>;
    void post(Work work); // any thread; one after the other

    // Resumes on the main thread.
    template <class Question>
    Task<std::invoke_result_t<Question, Store &>> ask(Question question) {
        using Answer = std::invoke_result_t<Question, Store &>;
        const Completion done;
        const auto answer = std::make_shared<std::optional<Answer>>();
        post([done, answer, question = std::move(question)](Store &store) mutable {
            answer->emplace(question(store));
            Loop::main().post([done, answer = std::move(answer)] { done.fire(); });
        });
        co_await done;
        co_return std::move(**answer);
    }

    std::size_t waiting() const; // any thread

private:
    void run(Priority priority);

    std::unique_ptr<Store> m_store; // the thread's
    mutable std::mutex m_mutex;     // guards the next three
    std::condition_variable m_changed;
    std::deque<Work> m_works;
    bool m_ended = false;
    std::thread m_thread;
};

} // namespace ombru
