// A microphone and a speaker, for somebody who talks with this computer as if by telephone. On Linux they are those
// that the sound server gives to every program.
#pragma once
#include "base/Failure.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace ombru {

// Runs until it is dropped, which waits for nothing: what is being told may still come for a moment.
class Handset {
public:
    // Both come on threads of the system's and must not block.
    struct Listener {
        std::function<void(std::span<const std::int16_t>)> onHeard; // 20 ms of the microphone, mono; silence too
        std::function<void(const QString &)> onStop;                // one of the two has ended by itself, and why; once
    };
    virtual ~Handset() = default;
    Handset(const Handset &) = delete;
    Handset &operator=(const Handset &) = delete;

    // Behind what waits already; when that becomes more than a fifth of a second, its oldest part is left out. Any
    // thread.
    virtual void play(std::span<const std::int16_t> samples) = 0;

protected:
    Handset() = default;
};

// At `rate` samples a second. Blocks while the system answers: not on the main thread. The Failure has domain "audio".
Result<std::unique_ptr<Handset>> openHandset(int rate, Handset::Listener listener);

} // namespace ombru
