// The last events of the application, for `ombru log`. Main thread.
#pragma once
#include "controller/AppState.h"

#include <deque>

namespace ombru {

class EventHistory {
public:
    explicit EventHistory(AppState &state);

    const std::deque<Event> &events() const { return m_events; } // the oldest first

private:
    void keep(const Event &event);

    std::deque<Event> m_events;
    qsizetype m_size = 0; // of their texts
    Subscription m_heard;
};

} // namespace ombru
