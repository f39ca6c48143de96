#include "voice/AudioCapture.h"

#include "base/Background.h"
#include "base/SerialQueue.h"
#include "platform/SystemAudio.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration ENDING = std::chrono::seconds(1);

std::int16_t sampleOf(float value) {
    return std::isnan(value) ? std::int16_t(0) : static_cast<std::int16_t>(std::clamp(value, -1.0F, 1.0F) * 32767);
}

} // namespace

Samples samplesOf(std::span<const float> sound) {
    Samples samples(sound.size());
    std::ranges::transform(sound, samples.begin(), sampleOf);
    return samples;
}

// One recording from its start to its end. On the queue; beginning and ending one blocks, and is done elsewhere.
class AudioCapture::Session : public std::enable_shared_from_this<Session> {
public:
    Session(std::unique_ptr<SerialQueue> queue, Options options)
        : m_queue(std::move(queue)), m_options(std::move(options)) {}

    SerialQueue &queue() { return *m_queue; }

    void start(Started started) {
        if (m_over)
            return;
        m_started = std::move(started);
        ++m_elsewhere;
        runAlone([self = shared_from_this(), rate = m_options.sampleRate, listener = listener()] {
            auto recording = recordSystemAudio(rate, listener);
            self->m_queue->post(
                [self, recording = std::move(recording)]() mutable { self->began(std::move(recording)); });
        });
    }

    void stop() {
        m_over = true;
        m_started = {};
        letGo();
    }

    void onEnded(Job job) {
        m_atEnd.push_back(std::move(job));
        tellEnd();
    }

private:
    SystemAudio::Listener listener() {
        return {.onSound =
                    [weak = weak_from_this()](std::span<const float> sound) {
                        later(weak, [block = std::vector(sound.begin(), sound.end())](Session &session) {
                            session.heard(block);
                        });
                    },
                .onStop =
                    [weak = weak_from_this()](const QString &message) {
                        later(weak, [message](Session &session) { session.ended(message); });
                    }};
    }

    static void later(const std::weak_ptr<Session> &weak, std::move_only_function<void(Session &)> what) {
        if (const auto session = weak.lock())
            session->m_queue->post([weak, what = std::move(what)]() mutable {
                if (const auto self = weak.lock())
                    what(*self);
            });
    }

    void began(Result<std::unique_ptr<SystemAudio>> recording) {
        --m_elsewhere;
        if (recording)
            m_recording = std::move(*recording);
        const auto outcome = m_lost      ? std::unexpected(Failure{u"audio"_s, 2, *m_lost})
                             : recording ? Result<>()
                                         : std::unexpected(recording.error());
        if (auto started = std::exchange(m_started, {}))
            started(outcome);
        if (m_over || !outcome)
            stop();
    }

    void heard(const std::vector<float> &block) {
        if (!m_over && !block.empty() && m_options.onSamples)
            m_options.onSamples(samplesOf(block));
    }

    // It may be over before its start was told.
    void ended(const QString &message) {
        if (m_over)
            return;
        if (m_started) {
            m_lost = message;
            return;
        }
        stop();
        if (m_options.onStop)
            m_options.onStop(message);
    }

    void letGo() {
        if (auto recording = std::exchange(m_recording, nullptr)) {
            ++m_elsewhere;
            runAlone([self = shared_from_this(), recording = std::move(recording)]() mutable {
                recording.reset();
                self->m_queue->post([self] {
                    --self->m_elsewhere;
                    self->tellEnd();
                });
            });
        }
        tellEnd();
    }

    void tellEnd() {
        if (!m_over || m_elsewhere > 0)
            return;
        for (auto &job : std::exchange(m_atEnd, {}))
            job();
    }

    std::unique_ptr<SerialQueue> m_queue;
    Options m_options;
    Started m_started; // while it starts
    std::unique_ptr<SystemAudio> m_recording;
    std::optional<QString> m_lost; // why it ended, while it starts
    bool m_over = false;
    int m_elsewhere = 0; // beginnings and endings that run
    std::vector<Job> m_atEnd;
};

AudioCapture::AudioCapture(Options options) {
    auto queue = std::make_unique<SerialQueue>("ombru.audiocap");
    auto &its = *queue;
    m_session = its.make<Session>(std::move(queue), std::move(options));
}

AudioCapture::~AudioCapture() {
    stop();
}

void AudioCapture::start(Started started) {
    m_session->queue().post(
        [session = m_session, started = std::move(started)]() mutable { session->start(std::move(started)); });
}

void AudioCapture::stop() {
    m_session->queue().post([session = m_session] { session->stop(); });
}

Task<> AudioCapture::end() {
    const Completion over;
    m_session->queue().post([session = m_session, over] {
        session->onEnded([over] { Loop::main().post([over] { over.fire(); }); });
        session->stop();
    });
    const auto limit = Loop::main().after(ENDING, [over] { over.fire(); });
    co_await over;
}

} // namespace ombru
