// Until when whoever waits for others may wait, whatever patience of its own it has: set for one event of a script, and
// looked at by all that wait meanwhile. Any thread.
#pragma once
#include "base/Clock.h"

#include <algorithm>
#include <atomic>
#include <optional>

namespace ombru {

class WaitLimit {
public:
    void set(std::optional<Clock::Time> end) { m_end = end.value_or(NEVER); } // none: for as long as it takes

    // When a wait with that patience ends.
    Clock::Time after(Clock::Duration patience) const { return std::min(Clock::now() + patience, m_end.load()); }
    bool passed() const { return m_end.load() <= Clock::now(); }
    std::optional<Clock::Time> end() const {
        const auto end = m_end.load();
        return end == NEVER ? std::nullopt : std::optional(end);
    }

private:
    static constexpr Clock::Time NEVER = Clock::Time::max();
    std::atomic<Clock::Time> m_end = NEVER;
};

// For those that nobody limits.
inline const WaitLimit UNLIMITED;

} // namespace ombru
