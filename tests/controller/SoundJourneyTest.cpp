// From a program that plays a tone to the service: a real sound server, a real channel, nothing of ours left out.

#include "base/Background.h"
#include "controller/ServiceLink.h"
#include "platform/SecretStore.h"
#include "tests/support/AccountService.h"
#include "tests/support/SoundServer.h"
#include "tests/support/Wait.h"

#include <QtEndian>

#include <future>
#include <gmock/gmock.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int RATE = 24000; // samples a second on the channel
constexpr std::size_t BLOCK = RATE / 50;

// Seconds; a minute of it takes a minute, on request.
double toneLength() {
    const auto wanted = qEnvironmentVariable("OMBRU_TONE_SECONDS").toDouble();
    return wanted > 0 ? wanted : 3;
}

// A controller that does nothing but listen.
struct Reports : LinkReports {
    QStringList events;
    std::function<void(bool)> listen;

    void emit(const QString &text, EventKind) override { events.append(text); }
    void showAuth(const Auth &) override {}
    void showSignIn(const SignInView &) override {}
    void showReachable(bool) override {}
    void applyConfig(const CloudConfig &) override {}
    void startServer() override {}
    void stopServer() override {}
    void channelExists(WebChannel::Send) override {}
    void channelOpened(bool) override {}
    void handle(const AgentCommand &command) override { listen(std::get<ListenCommand>(command).on); }
    Task<> refreshPermissions() override { co_return; }
};

class SoundJourney : public testing::Test {
protected:
    SoundJourney() {
        auto told = std::make_unique<Reports>();
        reports = told.get();
        EXPECT_TRUE(settings.serverURL.write(service.base()));
        link.emplace(settings, std::move(told));
        reports->listen = [this](bool on) { link->listen(on); };
        setSecret(u"device-token"_s, u"tok"_s);
        EXPECT_TRUE(await(link->restoreSignIn()));
        await(link->loadConfig());
        EXPECT_TRUE(waitUntil([this] { return service.frameCount() == 1; })) << "hello";
    }
    ~SoundJourney() override {
        await(link->end());
        EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
    }

    bool says(const QString &line, qsizetype times = 1) {
        return waitUntil([&] { return reports->events.count(line) == times; });
    }
    void listen() {
        const auto streaming = u"🔈 streaming this Mac's audio to the website"_s;
        const auto before = reports->events.count(streaming);
        service.newest().sendText(R"({"type": "listen", "on": true})");
        ASSERT_TRUE(says(streaming, before + 1)) << reports->events.join(u'\n').toStdString();
    }
    std::vector<std::int16_t> arrived() {
        std::vector<std::int16_t> samples;
        for (const auto &frame : service.newest().frames) {
            const auto count = frame.opcode == 2 ? frame.payload.size() / 2 : 0;
            for (qsizetype at = 0; at < count; ++at)
                samples.push_back(qFromLittleEndian<qint16>(frame.payload.constData() + 2 * at));
        }
        return samples;
    }
    // What has arrived of a tone that is played now, with the silence after it.
    std::vector<std::int16_t> hear(const SoundServer &server, const Tone &tone) {
        service.newest().frames.clear();
        // Meanwhile the service takes what comes: of what waits too long the channel drops the rest.
        auto played = std::async(std::launch::async, [&] { return server.play(tone); });
        const auto isOver = [&] { return played.wait_for(0s) == std::future_status::ready; };
        while (!isOver())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        EXPECT_TRUE(played.get());
        std::vector<std::int16_t> samples;
        EXPECT_TRUE(waitUntil([&] {
            samples = arrived();
            return isHeard(samples, 5 * BLOCK);
        }));
        return samples;
    }

    QTemporaryDir home;
    QTemporaryDir sound;
    Variable data{"XDG_DATA_HOME", home.path().toUtf8()};
    Variable bus{"DBUS_SESSION_BUS_ADDRESS"};
    Variable runtime{"XDG_RUNTIME_DIR", home.path().toUtf8()};
    AccountService service;
    Settings settings{home.filePath(u"ombru.conf"_s)};
    std::optional<ServiceLink> link;
    Reports *reports = nullptr; // the link's
};

const QString FAILED = u"✗ couldn't capture audio for the website: "_s;

} // namespace

TEST_F(SoundJourney, ATonePlayedArrivesAtTheServiceWithItsFrequencyLevelAndLength) {
    const SoundServer server(sound);
    listen();
    const auto seconds = toneLength();
    const auto samples = hear(server, {.frequency = 1000, .level = 0.25, .seconds = seconds});
    const HeardTone tone(samples, RATE);
    EXPECT_NEAR(tone.frequency(), 1000, 1);
    EXPECT_NEAR(tone.level(), 0.25, 0.005);
    EXPECT_NEAR(double(tone.length()), seconds * RATE, BLOCK) << "within one block";
    EXPECT_LT(tone.longestGap(), 10U);
    std::erase(service.newest().frames, ChannelFrame{9, {}}); // a minute has pings, too
    for (const auto &frame : service.newest().frames) {
        EXPECT_EQ(frame.opcode, 2);
        EXPECT_GT(frame.payload.size(), 0);
        EXPECT_EQ(frame.payload.size() % 2, 0);
        EXPECT_LE(frame.payload.size(), RATE / 10 * 2) << "small ones";
    }
}

TEST_F(SoundJourney, ASoundServerThatEndsIsToldAndOneThatComesBackIsHeardAgain) {
    {
        SoundServer server(sound);
        listen();
        server.end(SIGKILL);
        ASSERT_TRUE(says(FAILED + u"Connection terminated"_s));
        service.newest().sendText(R"({"type": "listen", "on": true})");
        ASSERT_TRUE(says(FAILED + u"no display"_s)) << "none at all";
    }
    const SoundServer server(sound);
    listen();
    const auto samples = hear(server, {.frequency = 440, .level = 0.5, .seconds = 0.5});
    EXPECT_NEAR(HeardTone(samples, RATE).frequency(), 440, 5);
    EXPECT_THAT(reports->events.filter(FAILED), testing::SizeIs(2));
}
