// A tone to play, and what to tell of one that was recorded.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

namespace ombru::test {

struct Tone {
    int rate = 48000;
    double frequency = 440;
    double level = 0.5; // of its peaks
    double seconds = 2;

    std::vector<float> sound() const {
        std::vector<float> samples(static_cast<std::size_t>(rate * seconds));
        for (std::size_t at = 0; at < samples.size(); ++at)
            samples[at] = static_cast<float>(level * std::sin(2 * std::numbers::pi * frequency * at / rate));
        return samples;
    }
};

inline bool isLoud(std::int16_t sample) {
    return std::abs(int(sample)) > 300;
}

// Whether there is something, and so much silence after it.
inline bool isHeard(std::span<const std::int16_t> samples, std::size_t silence) {
    return samples.size() > silence && std::ranges::any_of(samples, isLoud) &&
           std::ranges::all_of(samples.last(silence), [](auto sample) { return sample == 0; });
}

// What stands between silence and silence in 16-bit samples.
class HeardTone {
public:
    HeardTone(std::span<const std::int16_t> samples, int rate) : m_rate(rate) {
        const auto first = std::ranges::find_if(samples, isLoud);
        auto last = samples.end();
        while (last != first && !isLoud(*(last - 1)))
            --last;
        m_samples = {first, last};
    }

    std::size_t length() const { return m_samples.size(); }
    double frequency() const { // by crossings upwards
        double crossings = 0;
        for (std::size_t at = 1; at < m_samples.size(); ++at)
            crossings += m_samples[at - 1] < 0 && m_samples[at] >= 0 ? 1 : 0;
        return length() == 0 ? 0 : crossings * m_rate / double(length());
    }
    double level() const { // a sine's, of its power
        double power = 0;
        for (const auto sample : m_samples)
            power += double(sample) * sample;
        return length() == 0 ? 0 : std::sqrt(2 * power / double(length())) / 32767;
    }
    // The longest silence in it, in samples.
    std::size_t longestGap() const {
        std::size_t longest = 0;
        std::size_t gap = 0;
        for (const auto sample : m_samples)
            longest = std::max(longest, gap = sample == 0 ? gap + 1 : 0);
        return longest;
    }

private:
    int m_rate;
    std::span<const std::int16_t> m_samples;
};

} // namespace ombru::test
