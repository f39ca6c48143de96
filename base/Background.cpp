#include "base/Background.h"

#include <QCoreApplication>

#include <condition_variable>
#include <thread>

namespace ombru {

namespace {

constexpr std::size_t MOST_THREADS = 4;

class Pool {
public:
    ~Pool() {
        {
            const std::lock_guard lock(m_mutex);
            m_ending = true;
            m_jobs.clear();
        }
        m_changed.notify_all();
    }

    void add(Job job) {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
        if (m_idle < m_jobs.size() && m_threads.size() < MOST_THREADS)
            m_threads.emplace_back([this] { work(); });
        m_changed.notify_one();
    }

    bool isIdle() {
        const std::lock_guard lock(m_mutex);
        return m_jobs.empty() && m_idle == m_threads.size();
    }

    bool finish(Clock::Duration limit) {
        std::unique_lock lock(m_mutex);
        m_jobs.clear();
        return m_changed.wait_for(lock, limit, [this] { return m_idle == m_threads.size(); });
    }

private:
    void work() {
        std::unique_lock lock(m_mutex);
        while (true) {
            ++m_idle;
            m_changed.notify_all(); // somebody may wait for the end of all
            m_changed.wait(lock, [this] { return m_ending || !m_jobs.empty(); });
            --m_idle;
            if (m_ending)
                return;
            auto job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            job();
            job = {};
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Job> m_jobs;
    std::size_t m_idle = 0;
    bool m_ending = false;
    std::vector<std::jthread> m_threads; // last, so that they are joined before what they use is gone
};

std::unique_ptr<Pool> pool;

// The threads outside the pool. Each holds this, so that it outlives them.
class Loners {
public:
    void add() {
        const std::lock_guard lock(m_mutex);
        ++m_running;
    }
    void remove() {
        const std::lock_guard lock(m_mutex);
        --m_running;
        m_changed.notify_all();
    }
    bool isIdle() {
        const std::lock_guard lock(m_mutex);
        return m_running == 0;
    }
    bool finish(Clock::Duration limit) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [this] { return m_running == 0; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_running = 0;
};

std::shared_ptr<Loners> loners() {
    static const auto loners = std::make_shared<Loners>();
    return loners;
}

} // namespace

void runAlone(Job job) {
    loners()->add();
    std::thread([loners = loners(), job = std::move(job)]() mutable {
        job();
        job = {};
        loners->remove();
    }).detach();
}

bool backgroundIsIdle() {
    return (!pool || pool->isIdle()) && loners()->isIdle();
}

bool finishBackground(Clock::Duration limit) {
    const bool poolDone = !pool || pool->finish(limit);
    return loners()->finish(poolDone ? limit : Clock::Duration::zero()) && poolDone;
}

void runInBackground(Job job) {
    if (!pool) {
        // The loop is made first and so ends last: jobs that finish late still find it.
        Loop::main();
        pool = std::make_unique<Pool>();
        qAddPostRoutine([] { pool.reset(); });
    }
    pool->add(std::move(job));
}

} // namespace ombru
