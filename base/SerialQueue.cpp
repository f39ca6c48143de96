#include "base/SerialQueue.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <atomic>
#include <latch>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace ombru {

// A thread that runs a loop until the application ends.
class WorkerLoop {
public:
    WorkerLoop() {
        std::latch ready(1);
        m_thread = std::thread([this, &ready] { run(ready); });
        ready.wait();
    }
    ~WorkerLoop() {
        m_loop->post([this] { m_events->quit(); });
        m_thread.join();
    }
    Loop &loop() { return *m_loop; }
    std::unordered_map<const void *, std::shared_ptr<void>> &held() { return m_held; } // on the loop
    bool isCurrent() const { return m_thread.get_id() == std::this_thread::get_id(); }

private:
    // What was posted before the end still runs, and nothing is kept by a timer or held: the objects of a queue are
    // destroyed on their own loop.
    void run(std::latch &ready) {
        QEventLoop events;
        Loop loop;
        m_events = &events;
        m_loop = &loop;
        ready.count_down();
        events.exec();
        do {
            loop.m_timers.clear();
            std::exchange(m_held, {});
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        } while (loop.runJobs());
    }

    Loop *m_loop = nullptr; // the thread's own, as long as it runs
    QEventLoop *m_events = nullptr;
    std::unordered_map<const void *, std::shared_ptr<void>> m_held;
    std::thread m_thread;
};

namespace {

// Started with the first queue of their kind; queues go to them in turn.
class Workers {
public:
    explicit Workers(std::size_t count) : m_count(count) {}

    WorkerLoop &next() {
        const std::scoped_lock lock(m_mutex);
        while (m_loops.size() < m_count)
            m_loops.push_back(std::make_unique<WorkerLoop>());
        return *m_loops[m_next++ % m_count];
    }
    void end() { m_loops.clear(); }

private:
    const std::size_t m_count;
    std::mutex m_mutex; // guards the rest
    std::vector<std::unique_ptr<WorkerLoop>> m_loops;
    std::size_t m_next = 0;
};

Workers brief(2);
Workers lengthy(1);

WorkerLoop &workerFor(SerialQueue::Jobs jobs) {
    SerialQueue::endAfterwards();
    return (jobs == SerialQueue::Jobs::brief ? brief : lengthy).next();
}

} // namespace

struct SerialQueue::State {
    QByteArray name;
    WorkerLoop &worker;
    std::atomic<bool> closed = false;
};

void SerialQueue::endAfterwards() {
    [[maybe_unused]] static const bool once = [] {
        Loop::main(); // made first and so ends last: what a queue reports late still finds it
        qAddPostRoutine([] {
            lengthy.end();
            brief.end();
        });
        return true;
    }();
}

SerialQueue::SerialQueue(QByteArray name, Jobs jobs)
    : m_state(std::make_shared<State>(std::move(name), workerFor(jobs))) {}

SerialQueue::~SerialQueue() {
    m_state->closed = true;
}

const QByteArray &SerialQueue::name() const {
    return m_state->name;
}

bool SerialQueue::isCurrent() const {
    return m_state->worker.isCurrent();
}

void SerialQueue::post(Job job) {
    runOnLoop(m_state, [state = m_state, job = std::move(job)]() mutable {
        if (!state->closed)
            job();
    });
}

Timer SerialQueue::after(Clock::Duration delay, Job job) {
    Q_ASSERT(isCurrent());
    return m_state->worker.loop().after(delay, [state = m_state, job = std::move(job)]() mutable {
        if (!state->closed)
            job();
    });
}

void SerialQueue::hold(std::shared_ptr<void> object) {
    Q_ASSERT(isCurrent());
    const void *address = object.get();
    m_state->worker.held().emplace(address, std::move(object));
}

void SerialQueue::release(const void *object) {
    Q_ASSERT(isCurrent());
    const auto released = m_state->worker.held().extract(object); // what it lets go of may hold or release, too
}

void SerialQueue::runOnLoop(const std::shared_ptr<State> &state, Job job) {
    state->worker.loop().post(std::move(job));
}

} // namespace ombru
