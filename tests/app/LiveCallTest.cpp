// A live call by the program itself: a real sound server, whose second output plays the caller's part into the
// microphone, and a server in the application's place.

#include "platform/SystemAudio.h"
#include "tests/support/G711.h"
#include "tests/support/SoundServer.h"
#include "tests/support/Wait.h"
#include "voice/Mulaw.h"
#include "voice/Samples.h"
#include "voice/WSServer.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <future>
#include <ranges>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// Samples that another thread brings.
class Tape {
public:
    void add(std::span<const std::int16_t> samples) {
        const std::lock_guard lock(m_mutex);
        m_samples.insert(m_samples.end(), samples.begin(), samples.end());
    }
    // Once there is something and a fifth of a second of silence behind it.
    Samples heard() const {
        EXPECT_TRUE(waitUntil([this] { return isHeard(all(), RATE / 5); }));
        return all();
    }
    Samples all() const {
        const std::lock_guard lock(m_mutex);
        return m_samples;
    }

private:
    mutable std::mutex m_mutex;
    Samples m_samples;
};

class LiveCallTest : public ::testing::Test {
protected:
    LiveCallTest() {
        EXPECT_TRUE(sound.control("set-default-source headphones.monitor"));
        server.start();
        EXPECT_TRUE(waitUntil([this] { return server.port() != 0; }));
        recording = std::async(std::launch::async, [this] {
                        return recordSystemAudio(RATE, {.onSound =
                                                            [this](std::span<const float> block) {
                                                                std::vector<std::int16_t> samples;
                                                                for (const float sample : block)
                                                                    samples.push_back(
                                                                        static_cast<std::int16_t>(sample * 32767));
                                                                speaker.add(samples);
                                                            },
                                                        .onStop = [](const QString &) {}});
                    }).get();
        EXPECT_TRUE(recording);
    }
    ~LiveCallTest() override { server.stop(); }

    std::unique_ptr<Companion> call() const {
        return std::make_unique<Companion>(
            QByteArrayList{"bash", "-c", R"(echo started >&%fd; exec "$OMBRU_BIN/ombru-call" --token abc --port "$0")",
                           QByteArray::number(server.port())},
            "bash");
    }

    // On the server's queue.
    void take(const std::shared_ptr<WSConnection> &ws) {
        ws->onText = [this](const QString &text) {
            const auto message = QJsonDocument::fromJson(text.toUtf8()).object();
            const auto codes = QByteArray::fromBase64(message["media"_L1]["payload"_L1].toString().toLatin1());
            Samples samples;
            for (const char code : codes)
                samples.push_back(fromUlaw(static_cast<std::uint8_t>(code)));
            microphone.add(samples);
        };
        ws->onClose = [this] { closed = true; };
        const std::lock_guard lock(mutex);
        caller = ws;
    }
    void say(const Tone &tone) {
        Samples samples;
        for (const float sample : tone.sound())
            samples.push_back(static_cast<std::int16_t>(sample * 32767));
        const QJsonObject media{{u"payload"_s, QString::fromLatin1(pcmToUlaw(samples).toBase64())}};
        tell({{u"event"_s, u"media"_s}, {u"media"_s, media}});
    }
    void tell(const QJsonObject &message) {
        const std::lock_guard lock(mutex);
        caller->send(QString::fromUtf8(QJsonDocument(message).toJson()));
    }

    Tape microphone; // as the call brings it
    Tape speaker;
    const QTemporaryDir directory;
    const SoundServer sound{directory};
    std::atomic<bool> closed = false;
    std::mutex mutex;
    std::shared_ptr<WSConnection> caller;
    Result<std::unique_ptr<SystemAudio>> recording;
    WSServer server{{.port = 0, .token = u"abc"_s, .onConnection = [this](const auto &ws) { take(ws); }}};
};

} // namespace

TEST_F(LiveCallTest, TheMicrophoneIsHeardAndTheAnswerIsPlayedUntilItIsCleared) {
    const auto program = call();
    ASSERT_TRUE(waitUntil([this] { return microphone.all().size() > RATE / 2; })) << "silence, too, is sent";

    ASSERT_TRUE(sound.play({.frequency = 500, .seconds = 1}, "headphones"));
    const auto said = microphone.heard();
    EXPECT_NEAR(HeardTone(said, RATE).frequency(), 500, 15);

    say({.rate = RATE, .frequency = 800, .seconds = 1});
    const auto answered = speaker.heard();
    const HeardTone answer(answered, RATE);
    EXPECT_NEAR(answer.frequency(), 800, 25);
    EXPECT_NEAR(answer.level(), 0.5, 0.1);

    const auto before = speaker.all().size();
    say({.rate = RATE, .frequency = 800, .seconds = 30});
    ASSERT_TRUE(waitUntil([&] { return std::ranges::any_of(speaker.all() | std::views::drop(before), isLoud); }));
    tell({{u"event"_s, u"clear"_s}});
    EXPECT_LT(speaker.heard().size() - before, 20U * RATE) << "what was cleared is not played";

    program->end(SIGINT);
    EXPECT_TRUE(waitUntil([this] { return closed.load(); }));
}
