// The sound that this computer plays, of all programs together, as the owner hears it; never what a microphone hears.
// On Linux it is the monitor of the sound server's default output, and it goes along when the owner chooses another.
#pragma once
#include "base/Failure.h"

#include <functional>
#include <memory>
#include <span>

namespace ombru {

// Runs until it is dropped; then nothing more is told. Dropping it blocks for a moment: not on the main thread, and not
// out of what it tells.
class SystemAudio {
public:
    // Both come on a thread of the system's and must not block.
    struct Listener {
        std::function<void(std::span<const float>)> onSound; // mono, each -1 to 1; blocks of about 20 ms, silence too
        std::function<void(const QString &)> onStop;         // it ended by itself, and why; once, and nothing after it
    };
    virtual ~SystemAudio() = default;

    SystemAudio(const SystemAudio &) = delete;
    SystemAudio &operator=(const SystemAudio &) = delete;

protected:
    SystemAudio() = default;
};

// At `rate` samples a second. Blocks while the system answers, some seconds at most: any thread but the main one. The
// Failure has domain "audio"; code 1, "no display", is a computer that plays no sound. The listener may be told before
// this returns.
Result<std::unique_ptr<SystemAudio>> recordSystemAudio(int rate, SystemAudio::Listener listener);

inline Failure noSystemAudio() {
    return {QStringLiteral("audio"), 1, QStringLiteral("no display")};
}

} // namespace ombru
