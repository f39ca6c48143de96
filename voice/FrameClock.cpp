#include "voice/FrameClock.h"

#include <algorithm>

namespace ombru {

namespace {

constexpr int MOST_AT_ONCE = 50;

} // namespace

FrameClock::FrameClock(SerialQueue &queue, Clock::Duration period, std::function<void()> onBeat)
    : m_queue(queue), m_period(period), m_onBeat(std::move(onBeat)) {}

void FrameClock::start(Clock::Duration first) {
    m_running = true;
    m_next = Clock::now() + first;
    arm();
}

void FrameClock::stop() {
    m_running = false;
    m_timer.cancel();
}

void FrameClock::arm() {
    m_timer = m_queue.after(std::max(m_next - Clock::now(), Clock::Duration()), [this] { ring(); });
}

void FrameClock::ring() {
    const auto now = Clock::now();
    for (int beat = 0; beat < MOST_AT_ONCE && m_running && m_next <= now; ++beat) {
        m_next += m_period;
        m_onBeat();
    }
    if (!m_running)
        return;
    if (m_next <= now)
        m_next = now + m_period;
    arm();
}

} // namespace ombru
