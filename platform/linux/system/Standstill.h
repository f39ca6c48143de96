// Where one thread waits for another in the middle of its work: only where that work allows it.
#pragma once
#include <atomic>

namespace ombru {

class Standstill {
public:
    // For the one that works: stays here while that is wanted.
    void pass() {
        while (m_wanted) {
            m_reached = true;
            m_wanted.wait(true);
        }
        m_reached = false;
    }

    // For the other one.
    void want() { m_wanted = true; }
    bool isReached() const { return m_wanted && m_reached; } // or it is the last one, which is about to be left
    void end() {
        m_wanted = false;
        m_wanted.notify_all();
    }

private:
    std::atomic<bool> m_wanted = false;
    std::atomic<bool> m_reached = false;
};

} // namespace ombru
