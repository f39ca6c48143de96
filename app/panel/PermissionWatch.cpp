#include "app/panel/PermissionWatch.h"

namespace ombru {

namespace {

constexpr Clock::Duration BETWEEN = std::chrono::seconds(1);

} // namespace

void PermissionWatch::begin() {
    m_wanted = true;
    m_pause = {};
    if (!m_running)
        m_tasks.start(keepLooking());
}

void PermissionWatch::end() {
    m_wanted = false;
    m_pause.request_stop();
}

Task<> PermissionWatch::drain() {
    end();
    co_await m_tasks.drain();
}

// Whoever begins while the last look still runs is served by this one.
Task<> PermissionWatch::keepLooking() {
    m_running = true;
    while (m_wanted) {
        co_await m_state.refreshPermissions();
        if (m_wanted)
            co_await sleep(BETWEEN, m_pause.get_token());
    }
    m_running = false;
}

} // namespace ombru
