#include "service/store/StoreQueue.h"

#include <sys/resource.h>
#include <unistd.h>

namespace ombru {

namespace {

constexpr int NICE = 10;

// The calling thread's, which is what Linux gives the number to.
void lowerPriority() {
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), NICE);
}

} // namespace

StoreQueue::StoreQueue(std::unique_ptr<Store> store, Priority priority)
    : m_store(std::move(store)), m_thread([this, priority] { run(priority); }) {}

StoreQueue::~StoreQueue() {
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_one();
    }
    m_thread.join();
}

void StoreQueue::post(Work work) {
    const std::lock_guard lock(m_mutex);
    m_works.push_back(std::move(work));
    m_changed.notify_one();
}

std::size_t StoreQueue::waiting() const {
    const std::lock_guard lock(m_mutex);
    return m_works.size();
}

void StoreQueue::run(Priority priority) {
    if (priority == Priority::low)
        lowerPriority();
    std::unique_lock lock(m_mutex);
    while (!m_ended || !m_works.empty()) {
        if (m_works.empty()) {
            m_changed.wait(lock);
            continue;
        }
        auto works = std::exchange(m_works, {});
        lock.unlock();
        for (auto &work : works)
            work(*m_store);
        works.clear();
        lock.lock();
    }
}

} // namespace ombru
