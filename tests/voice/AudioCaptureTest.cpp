#include "voice/AudioCapture.h"

#include "base/Background.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

#include <QThread>

#include <limits>
#include <semaphore>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

// Whatever a capture tells, kept for the main thread, and where it was told.
struct Told {
    std::mutex mutex;
    std::vector<Result<>> starts;
    std::vector<Samples> blocks;
    QStringList stops;
    std::vector<QThread *> threads;

    template <class Change>
    void add(Change change) {
        const std::lock_guard lock(mutex);
        change(*this);
        threads.push_back(QThread::currentThread());
    }
};

class AudioCaptureTest : public testing::Test {
protected:
    AudioCaptureTest() {
        FakePlatform::reset();
        capture.emplace(AudioCapture::Options{
            .sampleRate = 24000,
            .onSamples =
                [told = told](const Samples &block) { told->add([&](Told &all) { all.blocks.push_back(block); }); },
            .onStop =
                [told = told](const QString &message) { told->add([&](Told &all) { all.stops.append(message); }); }});
    }
    ~AudioCaptureTest() override {
        if (capture)
            test::await(capture->end());
        EXPECT_TRUE(finishBackground(1min));
    }

    auto desktop() { return FakePlatform::instance().desktop.lock(); }
    void start() {
        capture->start(
            [told = told](const Result<> &outcome) { told->add([&](Told &all) { all.starts.push_back(outcome); }); });
    }
    void run() {
        start();
        ASSERT_TRUE(waitUntil([this] { return !starts().empty(); }));
        ASSERT_TRUE(starts()[0]) << starts()[0].error().description.toStdString();
    }
    std::shared_ptr<FakeRecording> recording() { return desktop()->recordings.at(0); }
    bool ended() {
        return waitUntil([this] { return desktop()->recordings.at(0)->ended.load(); });
    }
    void play(std::vector<float> sound) { recording()->listener.onSound(sound); }

    std::vector<Result<>> starts() const { return get(&Told::starts); }
    std::vector<Samples> blocks() const { return get(&Told::blocks); }
    QStringList stops() const {
        const std::lock_guard lock(told->mutex);
        return copied(told->stops);
    }
    template <class T>
    T get(T Told::*field) const {
        const std::lock_guard lock(told->mutex);
        return (*told).*field;
    }
    // Whatever was handed to the queue before has been told.
    void catchUp() {
        play({1});
        ASSERT_TRUE(waitUntil([this] { return blocks().size() && blocks().back() == Samples{32767}; }));
        told->add([](Told &all) { all.blocks.pop_back(); });
    }

    std::shared_ptr<Told> told = std::make_shared<Told>();
    std::optional<AudioCapture> capture;
};

} // namespace

TEST(Samples, AreTruncatedTowardsZeroAndCutOff) {
    EXPECT_EQ(samplesOf(std::vector{1.5F, -1.5F, 0.5F, -0.5F, 1.0F, -1.0F, 0.0F}),
              (Samples{32767, -32767, 16383, -16383, 32767, -32767, 0}));
    constexpr auto ENDLESS = std::numeric_limits<float>::infinity();
    EXPECT_EQ(samplesOf(std::vector{ENDLESS, -ENDLESS, std::numeric_limits<float>::quiet_NaN()}),
              (Samples{32767, -32767, 0}));
    EXPECT_EQ(samplesOf({}), Samples());
}

TEST_F(AudioCaptureTest, GivesEachBlockAsSamplesAtTheRateAskedFor) {
    run();
    EXPECT_EQ(recording()->rate, 24000);
    play({1.5F, -1.5F});
    play({0.5F});
    ASSERT_TRUE(waitUntil([this] { return blocks().size() == 2; }));
    EXPECT_EQ(blocks(), (std::vector<Samples>{{32767, -32767}, {16383}}));
    for (const auto *thread : get(&Told::threads)) {
        EXPECT_NE(thread, QThread::currentThread());
        EXPECT_EQ(thread, get(&Told::threads)[0]) << "all on the queue";
    }
}

TEST_F(AudioCaptureTest, AnEmptyBlockIsNotTold) {
    run();
    play({});
    catchUp();
    EXPECT_TRUE(blocks().empty());
}

TEST_F(AudioCaptureTest, AStartThatFailsSaysWhy) {
    desktop()->recordingFailure = noSystemAudio();
    start();
    ASSERT_TRUE(waitUntil([this] { return !starts().empty(); }));
    EXPECT_EQ(starts()[0], std::unexpected(Failure{u"audio"_s, 1, u"no display"_s}));
    EXPECT_TRUE(stops().isEmpty());
}

TEST_F(AudioCaptureTest, OneThatEndsByItselfIsToldOnce) {
    run();
    recording()->listener.onStop(u"Connection terminated"_s);
    recording()->listener.onStop(u"again"_s);
    play({0.25F});
    ASSERT_TRUE(ended());
    test::await(capture->end());
    EXPECT_EQ(stops(), QStringList{u"Connection terminated"_s});
    EXPECT_TRUE(blocks().empty()) << "nothing comes after it";
}

TEST_F(AudioCaptureTest, OneThatEndsWhileItStartsHasNotStarted) {
    desktop()->beforeRecording = [](FakeRecording &begun) { begun.listener.onStop(u"gone"_s); };
    start();
    ASSERT_TRUE(waitUntil([this] { return !starts().empty(); }));
    ASSERT_FALSE(starts()[0]);
    EXPECT_EQ(starts()[0].error().description, u"gone"_s);
    EXPECT_TRUE(ended());
    EXPECT_TRUE(stops().isEmpty());
}

TEST_F(AudioCaptureTest, AStopEndsItOffTheMainThreadAndTellsNothing) {
    run();
    capture->stop();
    ASSERT_TRUE(ended());
    play({0.5F});
    recording()->listener.onStop(u"late"_s);
    test::await(capture->end());
    EXPECT_TRUE(blocks().empty());
    EXPECT_TRUE(stops().isEmpty());
    EXPECT_EQ(desktop()->recordingsEndedOnMainThread, 0);
}

TEST_F(AudioCaptureTest, OneThatIsDroppedEnds) {
    run();
    capture.reset();
    EXPECT_TRUE(ended());
}

TEST_F(AudioCaptureTest, AStopWhileItStartsEndsItAndTellsNothing) {
    const auto go = std::make_shared<std::binary_semaphore>(0);
    desktop()->beforeRecording = [go](FakeRecording &) { go->acquire(); };
    start();
    capture->stop();
    const auto over = std::make_shared<bool>(false);
    const auto ending = test::mark(capture->end(), over);
    test::settle();
    EXPECT_FALSE(*over);
    go->release();
    EXPECT_TRUE(waitUntil([&] { return *over; }));
    EXPECT_TRUE(ended());
    EXPECT_TRUE(starts().empty());
}

TEST_F(AudioCaptureTest, TheEndWaitsAMomentOnlyForASystemThatDoesNotAnswer) {
    ManualClock clock;
    const auto go = std::make_shared<std::binary_semaphore>(0);
    desktop()->beforeRecording = [go](FakeRecording &) { go->acquire(); };
    start();
    const auto over = std::make_shared<bool>(false);
    const auto ending = test::mark(capture->end(), over);
    test::settle();
    EXPECT_FALSE(*over);
    clock.advance(1s);
    EXPECT_TRUE(waitUntil([&] { return *over; }));
    go->release();
}

TEST_F(AudioCaptureTest, OneThatWasStoppedDoesNotStart) {
    capture->stop();
    start();
    test::await(capture->end());
    EXPECT_TRUE(desktop()->recordings.empty());
    EXPECT_TRUE(starts().empty());
}
