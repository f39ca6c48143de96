// The sound that this computer plays, as 16-bit samples at a rate of the consumer's choice. All that is told comes on a
// queue of its own, "ombru.audiocap"; the consumer hops to where it lives. Made on the main thread or on a queue; start
// and stop may be called from any.
#pragma once
#include "base/Task.h"
#include "voice/Samples.h"

#include <functional>
#include <memory>
#include <span>

namespace ombru {

// -1 to 1 becomes -32767 to 32767, truncated towards zero; what is beyond is cut off.
Samples samplesOf(std::span<const float> sound);

class AudioCapture {
public:
    struct Options {
        int sampleRate = 8000;                                   // samples a second, mono
        std::function<void(const Samples &)> onSamples = {};     // never empty ones
        std::function<void(const QString &message)> onStop = {}; // it ended by itself; once
    };

    explicit AudioCapture(Options options);
    ~AudioCapture(); // stops
    AudioCapture(const AudioCapture &) = delete;
    AudioCapture &operator=(const AudioCapture &) = delete;

    // Once. Tells whether it runs; nothing when it was stopped before.
    using Started = std::move_only_function<void(Result<>)>;
    void start(Started started);

    // Final, and waits for nothing. A block that is being told may still come.
    void stop();

    // stop(), and waits until the system has let go, a second at most. Main thread.
    Task<> end();

private:
    class Session;
    std::shared_ptr<Session> m_session;
};

} // namespace ombru
