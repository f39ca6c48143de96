// What is to be heard in a call, in frames of 20 ms: the answers that were synthesised, and the computer's own sound
// beneath them. Pure; samples at 8000 a second.
#pragma once
#include "voice/Samples.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>

namespace ombru {

class Playout {
public:
    static constexpr std::size_t FRAME_SAMPLES = 160;
    static constexpr std::size_t MOST_SHARED = 4000; // half a second: older sound is dropped
    using Frame = std::array<std::int16_t, FRAME_SAMPLES>;

    void addSpeech(std::span<const std::int16_t> samples) { m_speech.add(samples); }
    void addShared(std::span<const std::int16_t> samples);
    void clearSpeech() { m_speech.clear(); }
    void clearShared() { m_shared.clear(); }
    bool hasSpeech() const { return m_speech.size() > 0; }

    // The next frame; none when there is nothing to hear. The last piece of speech is filled up with silence, shared
    // sound comes in whole frames only: at full level, and at 0.35 beneath speech.
    std::optional<Frame> nextFrame();

private:
    // Samples that are added behind and taken in front.
    class Queue {
    public:
        std::size_t size() const { return m_samples.size() - m_taken; }
        void add(std::span<const std::int16_t> samples);
        std::span<const std::int16_t> take(std::size_t most); // valid until the next call
        void clear();

    private:
        Samples m_samples;
        std::size_t m_taken = 0; // in front of it, kept until they are half of it
    };

    Queue m_speech;
    Queue m_shared;
};

} // namespace ombru
