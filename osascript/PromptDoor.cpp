#include "osascript/PromptDoor.h"

#include "osascript/Ending.h"

#include <cerrno>
#include <thread>

namespace ombru {

std::shared_ptr<PromptDoor> PromptDoor::make(const QString &database) {
    const auto made = std::shared_ptr<PromptDoor>(new PromptDoor(database));
    aroundStops({.begin = [made] { made->rest(); },
                 .goOn = [made] { return made->goOn(); },
                 .goOnToEnd = [made] { made->goOnToEnd(); }});
    return made;
}

// Tried again and again, since a stop in the middle of a wait could leave a lock behind that nobody knows of.
Result<std::shared_ptr<const void>> PromptDoor::keepAway(const std::optional<Clock::Time> &end) {
    constexpr auto GLANCE = std::chrono::milliseconds(10);
    for (;; std::this_thread::sleep_for(GLANCE)) {
        const std::lock_guard lock(m_mutex);
        auto taken = PromptLock::forInput(m_database, Clock::now());
        if (taken) {
            const auto kept = std::make_shared<Kept>(std::move(*taken));
            m_kept = kept;
            return kept;
        }
        if (taken.error().code != ETIMEDOUT || (end && Clock::now() >= *end))
            return std::unexpected(taken.error());
    }
}

void PromptDoor::rest() {
    m_rest = std::unique_lock(m_mutex);
    m_resting = m_kept.lock();
    if (m_resting)
        m_resting->lock.reset();
}

bool PromptDoor::goOn() {
    if (m_resting) {
        auto taken = PromptLock::forInput(m_database, Clock::now());
        if (!taken)
            return false;
        m_resting->lock.emplace(std::move(*taken));
    }
    goOnToEnd();
    return true;
}

void PromptDoor::goOnToEnd() {
    m_resting.reset();
    m_rest.unlock();
}

} // namespace ombru
