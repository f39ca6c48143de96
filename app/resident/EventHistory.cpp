#include "app/resident/EventHistory.h"

namespace ombru {

namespace {

constexpr std::size_t MOST_EVENTS = 1000;
constexpr qsizetype MOST_TEXT = 2 << 20; // UTF-16 units

} // namespace

EventHistory::EventHistory(AppState &state) {
    m_heard = state.onEvent([this](const Event &event) { keep(event); });
}

void EventHistory::keep(const Event &event) {
    m_events.push_back(event);
    m_size += event.text.size();
    while (m_events.size() > MOST_EVENTS || m_size > MOST_TEXT) {
        m_size -= m_events.front().text.size();
        m_events.pop_front();
    }
}

} // namespace ombru
