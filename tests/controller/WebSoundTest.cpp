// The web page listens to what this computer plays, over a real channel.

#include "base/SerialQueue.h"
#include "controller/ServiceLink.h"
#include "tests/controller/LinkFixture.h"

#include <latch>
#include <semaphore>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::ChannelFrame;
using test::settle;
using test::waitUntil;

namespace {

const QString STREAMING = u"dim: 🔈 streaming this Mac's audio to the website"_s;
const QString STOPPED = u"dim: 🔈 stopped streaming audio to the website"_s;
const QString FAILED = u"bad: ✗ couldn't capture audio for the website: "_s;

class WebSoundTest : public test::LinkFixture {
protected:
    WebSoundTest() {
        boot();
        EXPECT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
    }
    void listen(bool on) {
        service.newest().sendText(on ? R"({"type": "listen", "on": true})" : R"({"type": "listen", "on": false})");
    }
    auto desktop() { return FakePlatform::instance().desktop.lock(); }
    std::size_t recordings() { return desktop()->recordings.size(); }
    std::shared_ptr<FakeRecording> recording() { return desktop()->recordings.back(); }
    void play(std::vector<float> sound) { recording()->listener.onSound(sound); }
    // What was played has left the capture's queue, and the main thread: a queue on each of the loops comes after it.
    static void settleSound() {
        SerialQueue one("test.one");
        SerialQueue other("test.other");
        std::latch passed(2);
        for (auto *queue : {&one, &other})
            queue->post([&passed] { passed.count_down(); });
        passed.wait();
        settle();
    }
    bool ended() {
        return waitUntil([this] { return recording()->ended.load(); });
    }
    bool says(const QString &line, qsizetype times = 1) {
        return waitUntil([&] { return events.count(line) == times; });
    }
    QStringList soundEvents() const { return events.filter(QRegularExpression(u"🔈|audio"_s)); }
    void stream() {
        const auto before = events.count(STREAMING);
        listen(true);
        ASSERT_TRUE(says(STREAMING, before + 1));
    }
    // The page and this computer have said what they had to say to each other.
    void catchUp() {
        service.newest().sendText(R"({"type": "task", "text": ""})");
        comeToRest();
        const auto before = service.frameCount();
        state->emit(u"mark"_s, EventKind::good);
        ASSERT_TRUE(waitUntil([&] { return service.frameCount() > before; }));
    }
    std::vector<QByteArray> heard() {
        std::vector<QByteArray> blocks;
        for (const auto &frame : service.newest().frames)
            if (frame.opcode == 2)
                blocks.push_back(frame.payload);
        return blocks;
    }
};

} // namespace

TEST_F(WebSoundTest, EachBlockIsABinaryFrameOf16BitSamplesLowByteFirst) {
    stream();
    EXPECT_EQ(recording()->rate, 24000);
    play({1.5F, -1.5F, 0.5F});
    play({});
    play({0, 1.0F / 32767});
    ASSERT_TRUE(waitUntil([this] { return heard().size() == 2; }));
    EXPECT_EQ(heard()[0], QByteArray("\xff\x7f\x01\x80\xff\x3f", 6));
    EXPECT_EQ(heard()[1], QByteArray("\x00\x00\x01\x00", 4));
    catchUp();
    EXPECT_EQ(heard().size(), 2U);
}

TEST_F(WebSoundTest, OffEndsItAndSaysSo) {
    stream();
    listen(false);
    ASSERT_TRUE(says(STOPPED));
    EXPECT_TRUE(ended());
    play({0.5F});
    catchUp();
    EXPECT_TRUE(heard().empty());
    EXPECT_EQ(soundEvents(), (QStringList{STREAMING, STOPPED}));
}

TEST_F(WebSoundTest, AMessageThatDoesNotSayOnMeansOff) {
    stream();
    service.newest().sendText(R"({"type": "listen"})");
    EXPECT_TRUE(says(STOPPED));
    EXPECT_TRUE(ended());
}

TEST_F(WebSoundTest, AnOnThatIsNoBooleanMeansOff) {
    int times = 0;
    for (const auto *on : {"\"true\"", "1", "null", "[true]", "{}"}) {
        stream();
        service.newest().sendText(R"({"type": "listen", "on": )" + QByteArray(on) + "}");
        ASSERT_TRUE(says(STOPPED, ++times)) << on;
        EXPECT_TRUE(ended()) << on;
    }
}

TEST_F(WebSoundTest, OffWithoutACaptureIsSilent) {
    listen(false);
    catchUp();
    EXPECT_TRUE(soundEvents().isEmpty());
}

TEST_F(WebSoundTest, OnAgainChangesNothing) {
    stream();
    listen(true);
    catchUp();
    EXPECT_EQ(recordings(), 1U);
    EXPECT_EQ(soundEvents(), QStringList{STREAMING});
}

TEST_F(WebSoundTest, OnAfterOffStreamsAgain) {
    stream();
    listen(false);
    stream();
    EXPECT_EQ(recordings(), 2U);
    play({0.5F});
    EXPECT_TRUE(waitUntil([this] { return heard().size() == 1; }));
}

TEST_F(WebSoundTest, AStartThatFailsSaysWhyAndTheNextOneTriesAgain) {
    desktop()->recordingFailure = noSystemAudio();
    listen(true);
    ASSERT_TRUE(says(FAILED + u"no display"_s));
    listen(true);
    ASSERT_TRUE(says(FAILED + u"no display"_s, 2)) << "the capture was cleared";
    listen(false);
    catchUp();
    EXPECT_FALSE(events.contains(STOPPED));
    desktop()->recordingFailure.reset();
    stream();
}

TEST_F(WebSoundTest, OneThatEndsByItselfIsClearedAndToldInTheSameWords) {
    stream();
    recording()->listener.onStop(u"Connection terminated"_s);
    ASSERT_TRUE(says(FAILED + u"Connection terminated"_s));
    EXPECT_TRUE(ended());
    listen(false);
    catchUp();
    EXPECT_FALSE(events.contains(STOPPED)) << "there is nothing to stop";
    stream();
    EXPECT_EQ(recordings(), 2U);
}

TEST_F(WebSoundTest, AStartThatEndsAfterItsCaptureWasDroppedChangesNothing) {
    const auto go = std::make_shared<std::counting_semaphore<2>>(0);
    for (const bool fails : {false, true}) {
        events.clear();
        if (fails)
            desktop()->recordingFailure = noSystemAudio();
        desktop()->beforeRecording = [go](FakeRecording &) { go->acquire(); };
        listen(true);
        listen(false);
        ASSERT_TRUE(says(STOPPED));
        desktop()->beforeRecording = {};
        desktop()->recordingFailure.reset();
        stream(); // another one
        if (fails)
            desktop()->recordingFailure = noSystemAudio();
        go->release();
        comeToRest();
        catchUp();
        EXPECT_EQ(soundEvents(), (QStringList{STOPPED, STREAMING})) << fails;
        listen(false);
        ASSERT_TRUE(says(STOPPED, 2));
        desktop()->recordingFailure.reset();
    }
}

TEST_F(WebSoundTest, BlocksAreGoneWhileThereIsNoChannelAndGoOnWithTheNext) {
    ManualClock clock;
    stream();
    service.newest().hangUp();
    ASSERT_TRUE(waitUntil([this] { return !state->agentConnected(); }));
    play({0.25F});
    settleSound();
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([this] { return service.channels.size() == 2 && service.frameCount() >= 2; }));
    play({1.0F});
    ASSERT_TRUE(waitUntil([this] { return !heard().empty(); }));
    EXPECT_EQ(heard(), std::vector{QByteArray("\xff\x7f")});
    EXPECT_EQ(soundEvents(), QStringList{STREAMING}) << "the capture stays";
}

TEST_F(WebSoundTest, BlocksBetweenTwoSignInsAreGoneToo) {
    stream();
    start = json(R"({"device_code": "dev", "user_code": "AB", "verify_url": "https://host/verify", "interval": 0.01})");
    polls = {json(R"({"status": "ok", "token": "new"})")};
    config.manner = test::AccountReply::Manner::silence;
    state->signIn();
    ASSERT_TRUE(requested("/api/device/config", 2)) << "the channel of the older token is gone by now";
    play({0.5F});
    recording()->listener.onStop(u"afterwards"_s);
    EXPECT_TRUE(says(FAILED + u"afterwards"_s)) << "so the block has come through before";
}

TEST_F(WebSoundTest, ASignOutEndsItAfterTheChannel) {
    stream();
    std::optional<bool> connectedThen;
    const auto watched = state->onEvent([&](const Event &event) {
        if (STOPPED.endsWith(event.text))
            connectedThen = state->agentConnected();
    });
    ASSERT_TRUE(state->agentConnected());
    state->signOut();
    EXPECT_EQ(connectedThen, false) << "the line is no more for the channel";
    EXPECT_EQ(events.last(), STOPPED);
    EXPECT_TRUE(ended());
    EXPECT_EQ(auth(), u"out"_s);
    ASSERT_TRUE(waitUntil([this] { return service.newest().gone; }));
    for (const auto &frame : service.newest().frames)
        EXPECT_FALSE(frame.payload.contains("stopped streaming")) << frame.payload.toStdString();
    state->signOut();
    EXPECT_EQ(events.count(STOPPED), 1);
}

TEST_F(WebSoundTest, TheEndOfTheProgramEndsItWithoutAWord) {
    stream();
    const auto ended = recording();
    test::await(state->drain());
    EXPECT_TRUE(ended->ended);
    EXPECT_EQ(soundEvents(), QStringList{STREAMING});
}
