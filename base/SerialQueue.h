// A named serial executor off the main thread. Jobs of one queue run one at a time, in the order posted, always on the
// same loop, so that a queue may own objects of Qt's. A queue is no thread: queues share a few loops, and a job that
// blocks would hold up its neighbours. Jobs that may take long are on a loop where they hold up only their like.
//
//     const auto socket = m_queue.make<QWebSocket>();
//     m_queue.post([weak = weak_from_this()] { if (const auto self = weak.lock()) self->connect(); });
//
// Jobs refer weakly to what may be gone. The loops end with the application; nothing is posted after that.
#pragma once
#include "base/Loop.h"

#include <QByteArray>

#include <memory>

namespace ombru {

class SerialQueue {
public:
    enum class Jobs { brief, lengthy };

    // For what tells queues something until its own end: what adds a post routine after this ends before the loops do,
    // also while there is no queue yet. Any thread, once the main loop is there.
    static void endAfterwards();

    // The first one on the main thread, others also on a queue.
    explicit SerialQueue(QByteArray name, Jobs jobs = Jobs::brief);
    ~SerialQueue(); // any thread; jobs that have not begun are dropped, nothing is waited for
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    const QByteArray &name() const;
    bool isCurrent() const; // whether this runs on the queue's loop

    void post(Job job);                                        // any thread
    [[nodiscard]] Timer after(Clock::Duration delay, Job job); // on the queue; so is the timer's end

    // Keeps the object until it is released, to the end of the loop at most; then it is let go of there. On the queue.
    void hold(std::shared_ptr<void> object);
    void release(const void *object);

    // An object that is destroyed on the queue's loop, whoever lets go of it last. Any thread.
    template <class T, class... Arguments>
    std::shared_ptr<T> make(Arguments &&...arguments) {
        return {new T(std::forward<Arguments>(arguments)...),
                [state = m_state](T *object) { runOnLoop(state, [object] { delete object; }); }};
    }

private:
    struct State;
    static void runOnLoop(const std::shared_ptr<State> &state, Job job); // also once the queue is gone

    std::shared_ptr<State> m_state;
};

} // namespace ombru
