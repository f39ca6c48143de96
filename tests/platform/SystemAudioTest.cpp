// What this computer plays, recorded from a real sound server of the test's own.

#include "platform/SystemAudio.h"

#include "tests/support/SoundServer.h"
#include "tests/support/Wait.h"
#include "voice/AudioCapture.h"

#include <mutex>
#include <numeric>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// Whatever a recording tells, kept for the main thread.
struct Heard {
    std::mutex mutex;
    Samples samples;
    std::vector<std::size_t> blocks; // their sizes
    QStringList stops;
};

class SystemAudioTest : public testing::Test {
protected:
    Result<> record(int rate = 24000) {
        auto begun = recordSystemAudio(rate, {.onSound =
                                                  [heard = heard](std::span<const float> sound) {
                                                      const std::lock_guard lock(heard->mutex);
                                                      const auto samples = samplesOf(sound);
                                                      heard->samples.insert(heard->samples.end(), samples.begin(),
                                                                            samples.end());
                                                      heard->blocks.push_back(samples.size());
                                                  },
                                              .onStop =
                                                  [heard = heard](const QString &message) {
                                                      const std::lock_guard lock(heard->mutex);
                                                      heard->stops.append(message);
                                                  }});
        if (!begun)
            return std::unexpected(begun.error());
        recording = std::move(*begun);
        return {};
    }
    auto locked() { return std::pair(std::unique_lock(heard->mutex), heard.get()); }
    std::size_t count() { return locked().second->samples.size(); }
    QStringList stops() {
        const auto [lock, all] = locked();
        return {all->stops.begin(), all->stops.end()};
    }
    Samples samples() {
        const auto [lock, all] = locked();
        return all->samples;
    }
    void forget() { locked().second->samples.clear(); }
    // Of a tone that is played now.
    Samples hear(const SoundServer &server, const Tone &tone, const QByteArray &output = "speakers") {
        forget();
        EXPECT_TRUE(server.play(tone, output));
        EXPECT_TRUE(waitUntil([this] { return isHeard(samples(), 2400); }));
        return samples();
    }
    // Whether one of the outputs, 0 or 1, is what is recorded.
    static bool records(const SoundServer &server, int output) {
        const auto line = "list short source-outputs | grep -P '^\\d+\\t" + QByteArray::number(output) + "\\t'";
        return waitUntil([&] { return server.control(line); });
    }

    std::shared_ptr<Heard> heard = std::make_shared<Heard>();
    QTemporaryDir directory;
    std::unique_ptr<SystemAudio> recording;
};

const Failure NO_DISPLAY{u"audio"_s, 1, u"no display"_s};
const Tone SHORT{.seconds = 0.25};

} // namespace

TEST_F(SystemAudioTest, ATonePlayedArrivesWithItsFrequencyLevelAndLength) {
    const SoundServer server(directory);
    for (const int rate : {24000, 8000}) {
        ASSERT_TRUE(record(rate));
        const auto all = hear(server, {.frequency = 440, .level = 0.5, .seconds = 2});
        const HeardTone tone(all, rate);
        EXPECT_NEAR(tone.frequency(), 440, 1);
        EXPECT_NEAR(tone.level(), 0.5, 0.01);
        EXPECT_NEAR(double(tone.length()), 2.0 * rate, rate / 50.0) << "within one block";
        EXPECT_LT(tone.longestGap(), 10U);
    }
}

TEST_F(SystemAudioTest, ATonePlayedArrivesFromPipeWire) {
    const SoundServer server(directory, SoundServer::Kind::pipeWire);
    const auto begun = record();
    ASSERT_TRUE(begun) << begun.error().description.toStdString();
    const auto all = hear(server, {.frequency = 440, .level = 0.5, .seconds = 2});
    // Without real-time priority that server skips periods on a busy machine, which is not ours to look at.
    const HeardTone tone(all, 24000);
    EXPECT_NEAR(tone.frequency(), 440, 20);
    EXPECT_NEAR(tone.level(), 0.5, 0.05);
    EXPECT_NEAR(double(tone.length()), 2.0 * 24000, 24000 / 5.0);
}

TEST_F(SystemAudioTest, WithPipeWireNoMicrophoneTakesAnOutputsPlace) {
    const SoundServer server(directory, SoundServer::Kind::pipeWire);
    ASSERT_TRUE(server.control("load-module module-null-sink media.class=Audio/Source/Virtual sink_name=microphone"));
    ASSERT_TRUE(server.control("set-default-source microphone"));
    ASSERT_TRUE(record());
    const auto all = hear(server, SHORT);
    EXPECT_NEAR(double(HeardTone(all, 24000).length()), 6000, 480) << "what is played, not the microphone";
}

TEST_F(SystemAudioTest, SilenceFlowsInSmallBlocks) {
    const SoundServer server(directory);
    ASSERT_TRUE(record());
    ASSERT_TRUE(waitUntil([this] { return count() > 24000; }));
    const auto [lock, all] = locked();
    const auto most = std::ranges::max(all->blocks);
    EXPECT_LE(most, 24000U / 10) << "not seconds at once";
    EXPECT_GT(*std::ranges::min_element(all->blocks), 0U);
    EXPECT_TRUE(std::ranges::all_of(all->samples, [](auto sample) { return sample == 0; }));
}

TEST_F(SystemAudioTest, WithoutASoundServerThereIsNone) {
    const Variable home("HOME", directory.path().toUtf8());
    const Variable nowhere("PULSE_SERVER", "unix:/nonexistent/pulse.sock");
    EXPECT_EQ(record(), std::unexpected(NO_DISPLAY));
    const Variable garbage("PULSE_SERVER", "{{{");
    EXPECT_EQ(record(), std::unexpected(NO_DISPLAY));
}

TEST_F(SystemAudioTest, WithoutAnOutputThereIsNoneAndNoMicrophoneInItsPlace) {
    const SoundServer server(directory);
    ASSERT_TRUE(server.control("load-module module-sine-source source_name=microphone"));
    ASSERT_TRUE(server.control("unload-module module-null-sink"));
    EXPECT_EQ(record(), std::unexpected(NO_DISPLAY));
    EXPECT_EQ(count(), 0U);
}

TEST_F(SystemAudioTest, AServerThatEndsIsToldOnceAndOneThatComesBackIsRecordedAgain) {
    {
        SoundServer server(directory);
        ASSERT_TRUE(record());
        server.end(SIGKILL);
        ASSERT_TRUE(waitUntil([this] { return !stops().isEmpty(); }));
        recording.reset();
        EXPECT_EQ(stops(), QStringList{u"Connection terminated"_s});
        EXPECT_EQ(record(), std::unexpected(NO_DISPLAY));
    }
    const SoundServer server(directory);
    ASSERT_TRUE(record());
    EXPECT_NEAR(HeardTone(hear(server, SHORT), 24000).frequency(), 440, 5);
    EXPECT_EQ(stops().size(), 1);
}

TEST_F(SystemAudioTest, GoesAlongWhenTheOwnerChoosesAnotherOutput) {
    const SoundServer server(directory);
    ASSERT_TRUE(record());
    ASSERT_TRUE(records(server, 0));
    ASSERT_TRUE(server.control("set-default-sink headphones"));
    ASSERT_TRUE(records(server, 1));
    forget();
    EXPECT_TRUE(server.play(SHORT, "speakers"));
    EXPECT_TRUE(server.play(SHORT, "headphones"));
    EXPECT_TRUE(waitUntil([this] { return isHeard(samples(), 2400); }));
    const auto all = samples();
    EXPECT_NEAR(double(HeardTone(all, 24000).length()), 6000, 480) << "only one of them";
    EXPECT_TRUE(stops().isEmpty());
}

TEST_F(SystemAudioTest, AnOutputThatGoesAwayLeavesTheOtherOne) {
    const SoundServer server(directory);
    ASSERT_TRUE(record());
    ASSERT_TRUE(records(server, 0));
    ASSERT_TRUE(server.control("load-module module-sine-source source_name=microphone"));
    ASSERT_TRUE(server.control("unload-module 1"));
    ASSERT_TRUE(records(server, 1));
    const auto all = hear(server, SHORT, "headphones");
    EXPECT_NEAR(double(HeardTone(all, 24000).length()), 6000, 480);
    EXPECT_TRUE(stops().isEmpty());
    ASSERT_TRUE(server.control("unload-module 2"));
    ASSERT_TRUE(waitUntil([this] { return !stops().isEmpty(); })) << "no microphone takes its place";
    EXPECT_EQ(stops(), QStringList{u"no display"_s});
    forget();
    recording.reset();
    EXPECT_EQ(count(), 0U);
}

TEST_F(SystemAudioTest, NothingIsToldOnceItIsDropped) {
    const SoundServer server(directory);
    ASSERT_TRUE(record());
    ASSERT_TRUE(waitUntil([this] { return count() > 0; }));
    recording.reset();
    EXPECT_EQ(heard.use_count(), 1) << "nobody is left to tell";
    EXPECT_TRUE(stops().isEmpty());
}
