#include "base/Background.h"

#include <QCoreApplication>

#include <condition_variable>
#include <thread>

namespace ombru {

namespace {

constexpr std::size_t MOST_THREADS = 4;
constexpr int MOST_ALONE = 32;

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
class Loners : public std::enable_shared_from_this<Loners> {
public:
    bool add(Job job) {
        const std::lock_guard lock(m_mutex);
        if (m_running == MOST_ALONE) {
            m_waiting.push_back(std::move(job));
            return false;
        }
        ++m_running;
        std::thread([self = shared_from_this(), job = std::move(job)]() mutable {
            self->work(std::move(job));
        }).detach();
        return true;
    }
    bool isIdle() {
        const std::lock_guard lock(m_mutex);
        return m_running == 0;
    }
    bool finish(Clock::Duration limit) {
        std::unique_lock lock(m_mutex);
        m_waiting.clear();
        return m_changed.wait_for(lock, limit, [this] { return m_running == 0; });
    }

private:
    void work(Job job) {
        while (job) {
            job();
            job = {};
            const std::lock_guard lock(m_mutex);
            if (!m_waiting.empty()) {
                job = std::move(m_waiting.front());
                m_waiting.pop_front();
            } else if (--m_running == 0)
                m_changed.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Job> m_waiting;
    int m_running = 0;
};

std::shared_ptr<Loners> loners() {
    static const auto loners = std::make_shared<Loners>();
    return loners;
}

} // namespace

bool runAlone(Job job) {
    return loners()->add(std::move(job));
}

bool backgroundIsIdle() {
    return (!pool || pool->isIdle()) && loners()->isIdle();
}

bool finishBackground(Clock::Duration limit) {
    const bool poolDone = !pool || pool->finish(limit);
    return loners()->finish(poolDone ? limit : Clock::Duration::zero()) && poolDone;
}

bool runInBackground(Job job) {
    if (!pool) {
        // The loop is made first and so ends last: jobs that finish late still find it.
        Loop::main();
        pool = std::make_unique<Pool>();
        qAddPostRoutine([] { pool.reset(); });
    }
    pool->add(std::move(job));
    return false;
}

} // namespace ombru
