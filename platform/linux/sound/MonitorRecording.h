// A recording of what the sound server's default output plays. The library's own thread does everything once it has
// begun; whoever made this waits for the outcome and drops it.
#pragma once
#include "platform/SystemAudio.h"
#include "platform/linux/sound/PulseLibrary.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ombru {

class MonitorRecording : public SystemAudio {
public:
    MonitorRecording(const PulseLibrary &pulse, int rate, Listener listener);
    ~MonitorRecording() override;

    // Connects, and waits until sound comes or cannot, at most as long as the limit. Once.
    Result<> begin(std::chrono::nanoseconds limit);

private:
    template <class T>
    using Owned = std::unique_ptr<T, void (*)(T *)>;
    using Outcome = Result<>;

    static MonitorRecording &self(void *data) { return *static_cast<MonitorRecording *>(data); }
    void contextChanged();
    void connected();
    void askForOutput();
    void outputIs(const char *name);
    void askForMonitor();
    void monitorIs(const char *output, const char *name);
    bool openStream(const char *monitor);
    pa_stream *newStream() const;
    void closeStream();
    void streamChanged();
    void streamLost(const Failure &failure);
    void read();
    void settle(const Outcome &outcome);
    void end(const Failure &failure);
    void follow(pa_operation *operation) const;
    Failure lastFailure() const;

    const PulseLibrary &m_pulse;
    int m_rate;
    Listener m_listener;
    Owned<pa_threaded_mainloop> m_loop;
    Owned<pa_context> m_context;
    // On the library's thread, from here on.
    Owned<pa_stream> m_stream;
    std::string m_output;         // the server's default one
    std::vector<float> m_silence; // for a hole in what was recorded
    bool m_flows = false;         // the stream has been ready
    bool m_over = false;
    // Guarded by the mutex: what begin() waits for.
    std::mutex m_mutex;
    std::condition_variable m_settled;
    std::optional<Outcome> m_outcome;
};

} // namespace ombru
