// Beats on a fixed grid, so that a late beat makes no later ones late. A beat that was missed is made up for at once,
// as many as fifty; after a longer sleep a new grid begins. On the queue that it was given.
#pragma once
#include "base/SerialQueue.h"

#include <functional>

namespace ombru {

class FrameClock {
public:
    FrameClock(SerialQueue &queue, Clock::Duration period, std::function<void()> onBeat);

    void start(Clock::Duration first = {}); // the first beat after that long; or at once, behind what runs now
    void stop();                            // also from a beat

private:
    void arm();
    void ring();

    SerialQueue &m_queue;
    Clock::Duration m_period;
    std::function<void()> m_onBeat;
    Clock::Time m_next;
    bool m_running = false;
    Timer m_timer;
};

} // namespace ombru
