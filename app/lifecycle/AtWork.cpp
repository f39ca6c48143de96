#include "app/lifecycle/AtWork.h"

namespace ombru {

namespace {

constexpr Clock::Duration LINGER = std::chrono::seconds(1); // of the mark, after the last key

} // namespace

void AtWork::follow() {
    if (m_state.busy && !m_running)
        begin();
    else if (!m_state.busy && m_running)
        end();
}

void AtWork::begin() {
    m_running = true;
    if (const auto keys = KeyCombination::parsed(m_state.settings.stopKey()))
        m_key.emplace(*keys, [this] { m_state.cancelTask(); });
    m_inputs.emplace(InputWatch::What::programs, [this] { mark(); });
}

void AtWork::end() {
    m_running = false;
    m_key.reset();
    m_inputs.reset();
    const bool wasMarked = isMarked();
    m_clear.cancel();
    if (wasMarked)
        m_onChange();
}

void AtWork::mark() {
    const bool wasMarked = isMarked();
    m_clear = Loop::main().after(LINGER, [this] { m_onChange(); });
    if (!wasMarked)
        m_onChange();
}

} // namespace ombru
