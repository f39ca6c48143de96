// The computer's sound in a call.

#include "tests/voice/CallFixture.h"
#include "voice/Mulaw.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

class CallSharingTest : public test::CallFixture {
protected:
    auto desktop() { return FakePlatform::instance().desktop.lock(); }
    std::size_t recordings() { return desktop()->recordings.size(); }
    std::shared_ptr<FakeRecording> recording() { return desktop()->recordings.back(); }
    bool records(std::size_t number) {
        return waitUntil([&] { return recordings() == number; });
    }
    // So many samples of a value are played by this computer, and have reached the call.
    void play(std::size_t count, int value) {
        recording()->listener.onSound(std::vector<float>(count, (static_cast<float>(value) + 0.5F) / 32767));
        for (int hop = 0; hop < 3; ++hop) // the recording's queue, the call's
            catchUp();
    }
    // The sharing was announced, which has been heard.
    void share() {
        greet();
        call->setSharing(true, false);
        ASSERT_TRUE(tells(u"sharing"_s));
        ASSERT_TRUE(records(1));
    }
    QByteArray frameOf(int value) { return pcmToUlaw(Samples(160, static_cast<std::int16_t>(value))); }
    bool asked(std::size_t times) {
        return waitUntil([&] { return requests.size() == times; });
    }
    // What it says last is so.
    bool speaks(const QString &text) {
        return waitUntil([&] { return !lines.isEmpty() && lines.last() == u"said: ombru: "_s + text; });
    }
};

} // namespace

TEST_F(CallSharingTest, TheCallerHearsTheComputerAtFullLevel) {
    share();
    EXPECT_EQ(recording()->rate, 8000);
    EXPECT_TRUE(says(u"call: ♪ sharing this Mac's audio into the call"_s));
    play(159, 1000);
    clock.advance(20ms);
    catchUp();
    EXPECT_TRUE(media().empty());
    play(161, 1000);
    EXPECT_TRUE(hear(2));
    EXPECT_EQ(sound(), frameOf(1000) + frameOf(1000));
}

TEST_F(CallSharingTest, BeneathSpeechItIsQuieter) {
    share();
    utter(u"say something"_s);
    ASSERT_TRUE(asked(1));
    requests[0].done(u"Yes."_s);
    ASSERT_TRUE(spoken(1));
    ASSERT_TRUE(hear(1)) << "the answer has come";
    play(160, 1000);
    ASSERT_TRUE(hear(2));
    auto mixed = samplesOf(1);
    mixed.resize(320);
    for (std::size_t place = 160; place < 320; ++place)
        mixed[place] = static_cast<std::int16_t>(350 + mixed[place]);
    EXPECT_EQ(sound(), pcmToUlaw(mixed));
}

TEST_F(CallSharingTest, AtTheStartItIsSharedWithoutAWordWhereTheOwnerWantsThat) {
    options.shareOnStart = true;
    start();
    ASSERT_TRUE(tells(u"sharing"_s));
    ASSERT_TRUE(spoken(0));
    hearAll();
    EXPECT_EQ(lines.filter(u"said:"_s), QStringList(u"said: ombru: Hello."_s));
}

TEST_F(CallSharingTest, StopSharingHeardWhileSharingTurnsItOff) {
    share();
    play(160, 1000);
    utter(u"please stop sharing the audio"_s);
    EXPECT_TRUE(speaks(u"Okay, stopped sharing."_s));
    EXPECT_TRUE(says(u"call: ♪ stopped sharing audio"_s));
    EXPECT_TRUE(tells(u"not sharing"_s));
    EXPECT_TRUE(waitUntil([this] { return recording()->ended.load(); }));
    ASSERT_TRUE(spoken(1));
    hearAll();
    EXPECT_EQ(sound().first(160), pcmToUlaw(samplesOf(1)).first(160)); // nothing of the computer's beneath it
    EXPECT_TRUE(requests.empty());
}

TEST_F(CallSharingTest, StopSharingHeardWhileNotSharingIsARequest) {
    greet();
    utter(u"stop sharing"_s);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(requests[0].text, u"stop sharing"_s);
    EXPECT_EQ(recordings(), 0U);
}

TEST_F(CallSharingTest, PlayTheMusicAndStopTheSoundStopsOrIsARequest) {
    share();
    utter(u"play the music and stop the sound"_s);
    EXPECT_TRUE(tells(u"not sharing"_s));
    utter(u"play the music and stop the sound"_s);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(recordings(), 1U);
}

TEST_F(CallSharingTest, ShareTheSoundTurnsItOnAndSaysSo) {
    greet();
    utter(u"Share the sound."_s);
    EXPECT_TRUE(speaks(u"Sharing the computer's audio again."_s));
    EXPECT_TRUE(records(1));
    utter(u"play some music"_s);
    EXPECT_TRUE(speaks(u"I'm already sharing the computer's audio."_s));
    EXPECT_EQ(recordings(), 1U);
    EXPECT_TRUE(requests.empty());
}

TEST_F(CallSharingTest, OnAndOffTwiceChangeNothing) {
    share();
    call->setSharing(true, true);
    call->setSharing(false, false);
    call->setSharing(false, true);
    EXPECT_TRUE(tells(u"not sharing"_s));
    call->setSharing(true, true);
    EXPECT_TRUE(records(2));
    EXPECT_TRUE(speaks(u"Sharing the computer's audio again."_s));
    EXPECT_EQ(lines.filter(u"said:"_s).size(), 2); // the greeting, and the last one
    EXPECT_EQ(told.filter(u"sharing"_s), QStringList({u"sharing"_s, u"not sharing"_s, u"sharing"_s}));
}

TEST_F(CallSharingTest, NoSoundToCaptureIsSaid) {
    greet();
    desktop()->recordingFailure = Failure{u"audio"_s, 1, u"no display"_s};
    utter(u"share the sound"_s);
    EXPECT_TRUE(says(u"bad: ✗ couldn't capture the Mac's audio: no display"_s));
    EXPECT_TRUE(speaks(u"Sorry, I couldn't capture the computer's audio."_s));
    EXPECT_TRUE(tells(u"not sharing"_s));
    utter(u"stop sharing"_s);
    EXPECT_TRUE(asked(1)); // it is off
}

TEST_F(CallSharingTest, ACaptureThatEndsByItselfIsSaidAndCanBeginAgain) {
    share();
    play(160, 1000);
    recording()->listener.onStop(u"gone"_s);
    EXPECT_TRUE(says(u"bad: ✗ audio capture stopped: gone"_s));
    EXPECT_TRUE(tells(u"not sharing"_s));
    clock.advance(20ms);
    catchUp();
    EXPECT_TRUE(media().empty()); // not even what had come
    const auto first = recording();
    call->setSharing(true, false);
    EXPECT_TRUE(records(2));
    first->listener.onStop(u"late"_s);
    catchUp();
    play(160, 500);
    EXPECT_TRUE(hear(1));
    EXPECT_EQ(sound(), frameOf(500));
}

TEST_F(CallSharingTest, TheBacklogStaysHalfASecond) {
    share();
    play(8000, 1000);
    play(4000, 500);
    clock.advance(1s);
    catchUp();
    EXPECT_EQ(media().size(), 25U);
    EXPECT_EQ(sound().first(160), frameOf(500));
}

TEST_F(CallSharingTest, TheEndOfACallEndsIt) {
    share();
    phone->stop();
    EXPECT_TRUE(tells(u"end"_s));
    EXPECT_TRUE(waitUntil([this] { return recording()->ended.load(); }));
    EXPECT_EQ(told.filter(u"sharing"_s), QStringList({u"sharing"_s, u"not sharing"_s}));
}
