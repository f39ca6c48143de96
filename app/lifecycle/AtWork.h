// What is there only while a task runs: the key that stops it, and the mark of the icon while a program types or
// clicks. Main thread.
#pragma once
#include "controller/AppState.h"
#include "platform/InputWatch.h"
#include "platform/StopKey.h"

#include <functional>
#include <optional>

namespace ombru {

class AtWork {
public:
    // `onChange` hears when the mark comes or goes.
    AtWork(AppState &state, std::function<void()> onChange) : m_state(state), m_onChange(std::move(onChange)) {}

    void follow(); // after each change of the controller
    bool isMarked() const { return m_clear.pending(); }

private:
    void begin();
    void end();
    void mark();

    AppState &m_state;
    std::function<void()> m_onChange;
    bool m_running = false;
    std::optional<StopKey> m_key; // none: the owner wants none
    std::optional<InputWatch> m_inputs;
    Timer m_clear;
};

} // namespace ombru
