// Encoding the frames of a call in mu-law, against the bare loop over a table and against the telephony library
// spandsp, which computes each sample. A round is ten thousand frames of 20 ms, noise and tone.
#include "bench/Race.h"
#include "voice/Mulaw.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <random>
#include <vector>

#ifdef OMBRU_SPANDSP
#include <spandsp.h>
#endif

using namespace ombru;

namespace {

constexpr int ROUNDS = 201;
constexpr std::size_t FRAMES = 10'000;
constexpr std::size_t FRAME = FRAME_BYTES / 2; // samples

using Frame = std::array<std::int16_t, FRAME>;
using Codes = std::array<std::uint8_t, FRAME>;

std::vector<Frame> sound() {
    std::mt19937 noise(1);
    std::vector<Frame> frames(FRAMES);
    double at = 0;
    for (auto &frame : frames)
        for (auto &sample : frame) {
            at += 1;
            const double tone = 12'000 * std::sin(at / 7) * std::sin(at / 900);
            sample = static_cast<std::int16_t>(tone + static_cast<double>(noise() % 2048) - 1024);
        }
    return frames;
}

// What keeps the encoding from being optimised away, and says that all of them do the same.
class Sum {
public:
    void add(const std::uint8_t *codes) { m_value = m_value * 31 + codes[0] + codes[FRAME - 1]; }
    void check(const char *name) {
        if (!m_expected)
            m_expected = m_value;
        if (m_value != *m_expected)
            bench::fail(std::string(name) + " encodes differently");
        m_value = 0;
    }

private:
    std::uint64_t m_value = 0;
    std::optional<std::uint64_t> m_expected;
};

template <class Encode>
bench::Contestant contestant(const char *name, double aim, const std::vector<Frame> &frames, Sum &sum, Encode encode) {
    return {name,
            [name, &frames, &sum, encode] {
                Codes codes;
                for (const auto &frame : frames) {
                    encode(frame, codes);
                    sum.add(codes.data());
                }
                sum.check(name);
            },
            aim};
}

} // namespace

int main() {
    const auto frames = sound();
    Sum sum;
    const auto *table = ulawTable().data();
    std::vector<bench::Contestant> contestants{
        contestant("pcmToUlaw", 0, frames, sum,
                   [](const Frame &frame, Codes &codes) { pcmToUlaw(frame, codes.data()); }),
        contestant("the bare loop over a table", 0.8, frames, sum,
                   [table](const Frame &frame, Codes &codes) {
                       for (std::size_t at = 0; at < FRAME; ++at)
                           codes[at] = table[static_cast<std::uint16_t>(frame[at])];
                   }),
    };
#ifdef OMBRU_SPANDSP
    auto *state = g711_init(nullptr, G711_ULAW);
    Sum theirs; // it rounds otherwise
    contestants.push_back(contestant("spandsp", 3, frames, theirs, [state](const Frame &frame, Codes &codes) {
        g711_encode(state, codes.data(), frame.data(), static_cast<int>(FRAME));
    }));
#else
    std::puts("spandsp is missing: libspandsp-dev");
#endif
    bench::race("10,000 frames of 20 ms in mu-law", ROUNDS, contestants);
#ifdef OMBRU_SPANDSP
    g711_free(state);
#endif
}
