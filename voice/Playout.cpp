#include "voice/Playout.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ombru {

namespace {

constexpr double BENEATH_SPEECH = 0.35;

std::int16_t mixed(int speech, int shared) {
    using Limits = std::numeric_limits<std::int16_t>;
    return static_cast<std::int16_t>(std::clamp<int>(speech + shared, Limits::min(), Limits::max()));
}

} // namespace

void Playout::Queue::add(std::span<const std::int16_t> samples) {
    if (m_taken >= m_samples.size() / 2) {
        m_samples.erase(m_samples.begin(), m_samples.begin() + static_cast<std::ptrdiff_t>(m_taken));
        m_taken = 0;
    }
    m_samples.insert(m_samples.end(), samples.begin(), samples.end());
}

std::span<const std::int16_t> Playout::Queue::take(std::size_t most) {
    const auto count = std::min(most, size());
    return std::span(m_samples).subspan(std::exchange(m_taken, m_taken + count), count);
}

void Playout::Queue::clear() {
    m_samples.clear();
    m_taken = 0;
}

void Playout::addShared(std::span<const std::int16_t> samples) {
    m_shared.add(samples);
    if (m_shared.size() > MOST_SHARED)
        m_shared.take(m_shared.size() - MOST_SHARED);
}

std::optional<Playout::Frame> Playout::nextFrame() {
    const auto speech = m_speech.take(FRAME_SAMPLES);
    const auto shared = m_shared.take(m_shared.size() >= FRAME_SAMPLES ? FRAME_SAMPLES : 0);
    if (speech.empty() && shared.empty())
        return {};
    const double level = speech.empty() ? 1 : BENEATH_SPEECH;
    Frame frame{};
    for (std::size_t place = 0; place < FRAME_SAMPLES; ++place) {
        const int spoken = place < speech.size() ? speech[place] : 0;
        const int beneath = place < shared.size() ? static_cast<int>(shared[place] * level) : 0;
        frame[place] = mixed(spoken, beneath);
    }
    return frame;
}

} // namespace ombru
