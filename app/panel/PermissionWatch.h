// Keeps what is allowed up to date while somebody looks at it: looks, waits a second, looks again; one look at a time.
// Main thread. drain() before it is destroyed.
#pragma once
#include "controller/AppState.h"

namespace ombru {

class PermissionWatch {
public:
    explicit PermissionWatch(AppState &state) : m_state(state) {}

    void begin();
    void end(); // no further look; one that runs ends by itself
    Task<> drain();

private:
    Task<> keepLooking();

    AppState &m_state;
    bool m_wanted = false;
    bool m_running = false;
    std::stop_source m_pause; // ends the wait
    TaskScope m_tasks;
};

} // namespace ombru
