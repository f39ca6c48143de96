#include "platform/Handset.h"

#include "platform/linux/sound/PulseLibrary.h"
#include "platform/linux/system/SharedLibrary.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <pulse/simple.h>
#include <thread>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int FRAMES_A_SECOND = 50;
constexpr std::uint32_t FRAMES_AHEAD = 3; // that the sound server has, so that it never waits for one
constexpr std::size_t MOST_WAITING = 10;  // frames
constexpr auto ANY = static_cast<std::uint32_t>(-1);

// The part of libpulse that reads and writes like a file.
struct SimpleLibrary {
    decltype(&pa_simple_new) open;
    decltype(&pa_simple_free) close;
    decltype(&pa_simple_read) read;
    decltype(&pa_simple_write) write;
    decltype(&pa_strerror) words;
};

std::optional<SimpleLibrary> load() {
    const SharedLibrary library("libpulse-simple.so.0");
    const auto *pulse = PulseLibrary::get();
    SimpleLibrary found{};
    const bool whole = pulse && library.find("pa_simple_new", found.open) &&
                       library.find("pa_simple_free", found.close) && library.find("pa_simple_read", found.read) &&
                       library.find("pa_simple_write", found.write);
    if (whole)
        found.words = pulse->words;
    return whole ? std::optional(found) : std::nullopt;
}

using Device = std::unique_ptr<pa_simple, decltype(&pa_simple_free)>;

// What the handset and its two threads share.
class Line {
public:
    Line(const SimpleLibrary &library, int rate, Handset::Listener listener)
        : m_library(library), m_frame(static_cast<std::size_t>(rate / FRAMES_A_SECOND)),
          m_format{PA_SAMPLE_S16NE, static_cast<std::uint32_t>(rate), 1}, m_listener(std::move(listener)) {}

    Result<Device> open(pa_stream_direction direction, const char *name) const {
        const auto bytes = static_cast<std::uint32_t>(m_frame * sizeof(std::int16_t));
        const pa_buffer_attr buffer{ANY, FRAMES_AHEAD * bytes, ANY, bytes, bytes};
        int error = 0;
        Device device(
            m_library.open(nullptr, "ombru-call", direction, nullptr, name, &m_format, nullptr, &buffer, &error),
            m_library.close);
        if (!device)
            return std::unexpected(Failure{u"audio"_s, error, QString::fromUtf8(m_library.words(error))});
        return device;
    }

    void hear(const Device &microphone) {
        std::vector<std::int16_t> frame(m_frame);
        for (int error = 0; !m_over;) {
            if (m_library.read(microphone.get(), frame.data(), frame.size() * sizeof(std::int16_t), &error) < 0)
                return fail(error);
            if (!m_over)
                m_listener.onHeard(frame);
        }
    }

    void speak(const Device &speaker) {
        int error = 0;
        for (auto frame = next(); !frame.empty(); frame = next())
            if (m_library.write(speaker.get(), frame.data(), frame.size() * sizeof(std::int16_t), &error) < 0)
                return fail(error);
    }

    void play(std::span<const std::int16_t> samples) {
        const std::lock_guard lock(m_mutex);
        m_waiting.insert(m_waiting.end(), samples.begin(), samples.end());
        if (const auto most = MOST_WAITING * m_frame; m_waiting.size() > most)
            m_waiting.erase(m_waiting.begin(), m_waiting.end() - static_cast<std::ptrdiff_t>(most));
        m_more.notify_one();
    }

    void end() {
        const std::lock_guard lock(m_mutex);
        m_over = true;
        m_more.notify_one();
    }

private:
    // None at the end.
    std::vector<std::int16_t> next() {
        std::unique_lock lock(m_mutex);
        m_more.wait(lock, [this] { return m_over || !m_waiting.empty(); });
        return m_over ? std::vector<std::int16_t>() : std::exchange(m_waiting, {});
    }

    void fail(int error) {
        if (!m_over.exchange(true))
            m_listener.onStop(QString::fromUtf8(m_library.words(error)));
        end();
    }

    const SimpleLibrary m_library;
    const std::size_t m_frame; // samples of 20 ms
    const pa_sample_spec m_format;
    const Handset::Listener m_listener;
    std::atomic<bool> m_over = false;
    std::mutex m_mutex; // guards the rest
    std::condition_variable m_more;
    std::vector<std::int16_t> m_waiting; // to be played
};

class PulseHandset : public Handset {
public:
    explicit PulseHandset(std::shared_ptr<Line> line) : m_line(std::move(line)) {}
    ~PulseHandset() override { m_line->end(); }

    void play(std::span<const std::int16_t> samples) override { m_line->play(samples); }

private:
    const std::shared_ptr<Line> m_line;
};

} // namespace

// The threads are left to themselves: a sound server that has stopped would hold whoever waited for them.
Result<std::unique_ptr<Handset>> openHandset(int rate, Handset::Listener listener) {
    static const std::optional<SimpleLibrary> library = load();
    if (!library)
        return std::unexpected(Failure{u"audio"_s, 1, u"libpulse is not installed"_s});
    const auto line = std::make_shared<Line>(*library, rate, std::move(listener));
    auto microphone = line->open(PA_STREAM_RECORD, "microphone");
    if (!microphone)
        return std::unexpected(microphone.error());
    auto speaker = line->open(PA_STREAM_PLAYBACK, "speaker");
    if (!speaker)
        return std::unexpected(speaker.error());
    std::thread([line, device = std::move(*microphone)] { line->hear(device); }).detach();
    std::thread([line, device = std::move(*speaker)] { line->speak(device); }).detach();
    return std::make_unique<PulseHandset>(line);
}

} // namespace ombru
