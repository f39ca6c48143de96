#include "voice/Recognition.h"

#include "base/Clock.h"
#include "base/SerialQueue.h"
#include "tests/support/Certificates.h"
#include "tests/support/SpeechService.h"
#include "tests/support/Wait.h"
#include "voice/Deepgram.h"
#include "voice/Mulaw.h"

#include <QThread>

#include <mutex>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::SpeechService;
using test::waitUntil;
using Finality = SpeechService::Listener::Finality;

namespace {

constexpr auto KEY = "s3cret-key";
constexpr qsizetype MINUTE = 60 * RATE; // bytes of sound
constexpr qsizetype MUCH = 32 << 20;
constexpr qsizetype PIECE = 256 << 10;

// What a call does with it, on its queue.
struct Call : std::enable_shared_from_this<Call> {
    std::shared_ptr<SerialQueue> queue;
    std::unique_ptr<Recognition> recognition;
    bool dropsWhenTold = false;

    mutable std::mutex mutex; // guards the rest
    QStringList texts;
    QStringList failures;
    bool elsewhere = false; // than on the queue

    void told(QStringList Call::*list, const QString &text) {
        {
            const std::lock_guard lock(mutex);
            (this->*list).append(text);
            elsewhere |= !queue->isCurrent();
        }
        if (dropsWhenTold)
            recognition.reset();
    }
};

class RecognitionTest : public testing::Test {
protected:
    ~RecognitionTest() override { drop(); }

    // Does it on the queue, and waits until it is done.
    void onQueue(std::function<void(Call &)> what) {
        const auto done = std::make_shared<std::atomic<bool>>(false);
        call->queue->post([call = call, what = std::move(what), done] {
            what(*call);
            *done = true;
        });
        ASSERT_TRUE(waitUntil([&] { return done->load(); }));
    }
    void begin(const QString &key = QString::fromLatin1(KEY)) {
        const Recognition::Options options{
            .url = Deepgram{.base = base}.sttURL(),
            .key = key,
            .authority = authority,
            .onText = [weak = std::weak_ptr(call)](const QString &text) { weak.lock()->told(&Call::texts, text); },
            .onFailure = [weak =
                              std::weak_ptr(call)](const QString &text) { weak.lock()->told(&Call::failures, text); }};
        onQueue([options](Call &its) { its.recognition = std::make_unique<Recognition>(its.queue, options); });
    }
    void open() {
        begin();
        ASSERT_TRUE(waitUntil([this] { return !service.listeners.empty(); }));
        send("\xFF");
        ASSERT_TRUE(waitUntil([this] { return !listener().audio.isEmpty(); }));
    }
    void send(const QByteArray &bytes) {
        onQueue([bytes](Call &its) { its.recognition->send(bytes); });
    }
    // More than the line holds is said, and nobody reads it.
    void fillTheLine() { fillTheLine(listener()); }
    void fillTheLine(SpeechService::Listener &listener) {
        listener.stopReading();
        for (qsizetype size = 0; size < MUCH; size += PIECE)
            send(QByteArray(PIECE, 'a'));
    }
    void finish() {
        onQueue([](Call &its) {
            its.recognition->finish();
            its.recognition.reset();
        });
    }
    void drop() {
        onQueue([](Call &its) { its.recognition.reset(); });
    }
    QStringList texts() const { return copied(&Call::texts); }
    QStringList failures() const { return copied(&Call::failures); }
    QString failure() const {
        EXPECT_TRUE(waitUntil([this] { return !failures().isEmpty(); }));
        return failures().value(0);
    }
    // Whatever was on its way has come.
    void catchUp() {
        test::settle();
        onQueue([](Call &) {});
        const std::lock_guard lock(call->mutex);
        EXPECT_FALSE(call->elsewhere);
    }
    SpeechService::Listener &listener() { return service.newest(); }

    SpeechService service{SpeechService::Voice::tones};
    QString base = service.base();
    QString authority;
    std::shared_ptr<Call> call = [] {
        auto made = std::make_shared<Call>();
        made->queue = std::make_shared<SerialQueue>("ombru.call");
        return made;
    }();

private:
    QStringList copied(QStringList Call::*list) const {
        const std::lock_guard lock(call->mutex);
        return (*call).*list;
    }
};

} // namespace

TEST_F(RecognitionTest, AsksAsTheServiceWantsToBeAsked) {
    open();
    EXPECT_EQ(listener().request().line(), "GET /v1/listen?model=nova-3&encoding=mulaw&sample_rate=8000&channels=1&"
                                           "interim_results=true&endpointing=300&utterance_end_ms=1000&"
                                           "smart_format=true HTTP/1.1");
    EXPECT_EQ(listener().request().header("Authorization"), "Token s3cret-key");
}

TEST_F(RecognitionTest, EachPieceOfSoundIsAMessageAndEachTextIsTold) {
    open();
    int pieces = 0;
    service.onAudio = [&](SpeechService::Listener &heard) {
        if (++pieces == 3)
            heard.results(u"Überall"_s, Finality::speechFinal);
    };
    for (const auto *piece : {"one", "two", "three"})
        send(piece);
    ASSERT_TRUE(waitUntil([this] { return texts().size() == 1; }));
    EXPECT_EQ(listener().audio, "\xFFonetwothree");
    EXPECT_EQ(pieces, 3);
    EXPECT_EQ(texts()[0], u"{\"channel\":{\"alternatives\":[{\"transcript\":\"Überall\"}]},\"is_final\":true,"
                          "\"speech_final\":true,\"type\":\"Results\"}"_s);
    catchUp();
}

TEST_F(RecognitionTest, AnUtteranceIsHeardByItsSoundAndTheSilenceBehindIt) {
    service.utterances = {u"open the editor"_s};
    open();
    Samples loud(1600);
    for (std::size_t at = 0; at < loud.size(); ++at)
        loud[at] = at % 20 < 10 ? 8000 : -8000;
    send(pcmToUlaw(loud).prepend(QByteArray(159, '\xFF')));
    ASSERT_TRUE(waitUntil([this] { return texts().size() == 1; }));
    EXPECT_TRUE(texts()[0].contains(u"\"open\""_s));
    send(QByteArray(2240, '\xFF'));
    test::settle();
    EXPECT_EQ(texts().size(), 1) << "280 ms of silence are no end";
    send(QByteArray(160, '\xFF'));
    ASSERT_TRUE(waitUntil([this] { return texts().size() == 2; }));
    EXPECT_TRUE(texts()[1].contains(u"\"open the editor\""_s));
    send(QByteArray(5600, '\xFF'));
    ASSERT_TRUE(waitUntil([this] { return texts().size() == 3; }));
    EXPECT_EQ(texts()[2], u"{\"type\":\"UtteranceEnd\"}"_s);
}

TEST_F(RecognitionTest, WhatIsSaidWhileItOpensFollowsInOrder) {
    onQueue([&](Call &its) {
        its.recognition = std::make_unique<Recognition>(
            its.queue, Recognition::Options{.url = Deepgram{.base = base}.sttURL(), .key = u"key"_s});
        its.recognition->send("one ");
        its.recognition->sendText(u"{}"_s);
        its.recognition->send("two");
    });
    ASSERT_TRUE(waitUntil([this] { return !service.listeners.empty() && listener().audio.size() == 7; }));
    EXPECT_EQ(listener().audio, "one two");
    EXPECT_EQ(listener().texts, QList<QByteArray>{"{}"});
}

TEST_F(RecognitionTest, NoMoreIsKeptThanACallCanSayMeanwhile) {
    onQueue([&](Call &its) {
        its.recognition = std::make_unique<Recognition>(
            its.queue, Recognition::Options{.url = Deepgram{.base = base}.sttURL(), .key = u"key"_s});
        its.recognition->send(QByteArray(MINUTE, 'a'));
        its.recognition->send("b");
    });
    ASSERT_TRUE(waitUntil([this] { return !service.listeners.empty() && listener().audio.size() == MINUTE; }));
    send("c");
    ASSERT_TRUE(waitUntil([this] { return listener().audio.size() > MINUTE; }));
    EXPECT_TRUE(listener().audio.endsWith("ac"));
}

TEST_F(RecognitionTest, BinaryMessagesAreIgnored) {
    open();
    listener().send({2, "\1\2\3"});
    listener().results(u"text"_s, Finality::interim);
    ASSERT_TRUE(waitUntil([this] { return !texts().isEmpty(); }));
    EXPECT_EQ(texts().size(), 1);
    EXPECT_TRUE(failures().isEmpty());
}

TEST_F(RecognitionTest, WhateverTextComesIsTold) {
    open();
    for (const auto *text : {"", "no json", "[1]", "{\"type\":\"Metadata\"}"})
        listener().send({1, text});
    ASSERT_TRUE(waitUntil([this] { return texts().size() == 4; }));
    EXPECT_EQ(texts()[1], u"no json"_s);
}

TEST_F(RecognitionTest, BrokenFramesEndItAndAreToldOnce) {
    open();
    listener().send({1, "\xC3\x28"});
    EXPECT_EQ(failure(), u"a text came that is no UTF-8"_s);
    catchUp();
    EXPECT_EQ(failures().size(), 1);
}

TEST_F(RecognitionTest, FinishingSaysSoAndClosesAndTellsNothing) {
    open();
    finish();
    ASSERT_TRUE(waitUntil([this] { return listener().isGone(); }));
    EXPECT_EQ(listener().texts, QList<QByteArray>{R"({"type": "CloseStream"})"});
    EXPECT_EQ(listener().closeCode, 1000);
    catchUp();
    EXPECT_TRUE(failures().isEmpty());
}

TEST_F(RecognitionTest, FinishingTwiceIsFinishingOnce) {
    open();
    onQueue([](Call &its) {
        its.recognition->finish();
        its.recognition->finish();
        its.recognition->send("late");
    });
    ASSERT_TRUE(waitUntil([this] { return listener().isGone(); }));
    EXPECT_EQ(listener().texts.size(), 1);
    EXPECT_EQ(listener().closeCode, 1000);
    EXPECT_EQ(listener().audio, "\xFF");
}

TEST_F(RecognitionTest, AGoodbyeToWhoDoesNotReadHoldsTheQueueForASecondAtMost) {
    ManualClock clock;
    open();
    fillTheLine();
    const std::weak_ptr<SerialQueue> queue = call->queue;
    finish();
    call = std::make_shared<Call>();
    call->queue = std::make_shared<SerialQueue>("ombru.call");
    clock.advance(999ms);
    catchUp();
    EXPECT_FALSE(queue.expired());
    clock.advance(1ms);
    EXPECT_TRUE(waitUntil([&] { return queue.expired(); }));
    listener().readOn();
    EXPECT_TRUE(waitUntil([this] { return listener().isGone(); }));
}

TEST_F(RecognitionTest, WhatTheServiceDoesNotReadIsKeptWithinBounds) {
    const test::Authority own;
    authority = own.file();
    SpeechService encrypted(SpeechService::Voice::tones, 0, own.certify());
    for (auto *from : {&service, &encrypted}) {
        base = from->base();
        begin();
        ASSERT_TRUE(waitUntil([&] { return !from->listeners.empty(); }));
        fillTheLine(from->newest());
        from->newest().readOn();
        ASSERT_TRUE(waitUntil([&] {
            send("again");
            return from->newest().audio.endsWith("again");
        }));
        EXPECT_LT(from->newest().audio.size(), MUCH / 2) << "that of the system's, and a minute of ours";
        EXPECT_TRUE(failures().isEmpty());
    }
}

TEST_F(RecognitionTest, OneThatIsDroppedHangsUpAndTellsNothing) {
    open();
    drop();
    ASSERT_TRUE(waitUntil([this] { return listener().isGone(); }));
    EXPECT_TRUE(listener().texts.isEmpty());
    catchUp();
    EXPECT_TRUE(failures().isEmpty());
}

TEST_F(RecognitionTest, WhatWasUnderWayToOneThatIsDroppedIsNotTold) {
    open();
    onQueue([](Call &its) { its.dropsWhenTold = true; });
    for (int number = 0; number < 10; ++number)
        listener().results(QString::number(number), Finality::interim);
    ASSERT_TRUE(waitUntil([this] { return listener().isGone(); }));
    EXPECT_EQ(texts().size(), 1);
    EXPECT_TRUE(failures().isEmpty());
}

TEST_F(RecognitionTest, OneThatFailsMayBeDroppedThen) {
    onQueue([](Call &its) { its.dropsWhenTold = true; });
    open();
    listener().hangUp();
    failure();
    catchUp();
    EXPECT_EQ(failures().size(), 1);
    EXPECT_EQ(call->recognition, nullptr);
}

TEST_F(RecognitionTest, NobodyListeningIsAFailure) {
    base = u"http://127.0.0.1:1"_s;
    begin();
    EXPECT_EQ(failure(), u"Connection refused"_s);
    catchUp();
    EXPECT_EQ(failures().size(), 1);
}

TEST_F(RecognitionTest, NoNetworkIsAFailure) {
    base = u"http://nowhere.invalid"_s;
    begin();
    EXPECT_FALSE(failure().isEmpty());
}

TEST_F(RecognitionTest, ARefusalIsAFailureThatSaysWhich) {
    service.refuse({.status = 401});
    begin();
    EXPECT_EQ(failure(), u"the handshake was answered with \"HTTP/1.1 401 -\""_s);
    catchUp();
    EXPECT_EQ(failures().size(), 1);
}

TEST_F(RecognitionTest, AServiceThatNeverAnswersIsGivenUpAfterAMinute) {
    ManualClock clock;
    service.stall();
    begin();
    catchUp();
    clock.advance(59s);
    catchUp();
    EXPECT_TRUE(failures().isEmpty());
    clock.advance(1s);
    EXPECT_EQ(failure(), u"no answer within 60 seconds"_s);
    send("late");
    catchUp();
    EXPECT_EQ(failures().size(), 1);
}

TEST_F(RecognitionTest, OneThatIsOpenStaysOpen) {
    ManualClock clock;
    open();
    clock.advance(3600s);
    catchUp();
    listener().results(u"text"_s, Finality::interim);
    EXPECT_TRUE(waitUntil([this] { return !texts().isEmpty(); }));
    EXPECT_TRUE(failures().isEmpty());
}

TEST_F(RecognitionTest, ALostConnectionIsAFailureAndNothingComesBack) {
    open();
    listener().hangUp();
    EXPECT_EQ(failure(), u"The remote host closed the connection"_s);
    send("late");
    catchUp();
    EXPECT_EQ(failures().size(), 1);
    EXPECT_EQ(service.listeners.size(), 1U);
}

TEST_F(RecognitionTest, AClosedConnectionIsAFailureThatSaysWhy) {
    open();
    listener().close(1011, "no audio came");
    EXPECT_EQ(failure(), u"the service closed the connection (1011: no audio came)"_s);
    catchUp();
    EXPECT_EQ(failures().size(), 1);
}

TEST_F(RecognitionTest, ACloseWithoutAReasonIsAFailureToo) {
    open();
    listener().close(1000);
    EXPECT_EQ(failure(), u"the service closed the connection (1000)"_s);
}

TEST_F(RecognitionTest, TheKeyIsInNoFailure) {
    open();
    listener().close(1008, QByteArray("bad key ") + KEY + ".");
    EXPECT_EQ(failure(), u"the service closed the connection (1008: bad key ….)"_s);
}

TEST_F(RecognitionTest, AKeyThatNoHeaderMayHaveIsNotSent) {
    begin(u"key\r\nX-More: yes"_s);
    EXPECT_EQ(failure(), u"the key has characters that no key has"_s);
    EXPECT_TRUE(service.listeners.empty());
}

TEST_F(RecognitionTest, FinishingWhileItOpensHangsUp) {
    service.stall();
    begin();
    ASSERT_TRUE(waitUntil([this] { return service.visits() == 1; }));
    finish();
    EXPECT_TRUE(waitUntil([this] { return service.isDeserted(); }));
    EXPECT_TRUE(failures().isEmpty());
}

TEST_F(RecognitionTest, AnAuthorityOfTheOwnersIsTrusted) {
    const test::Authority own;
    SpeechService encrypted(SpeechService::Voice::tones, 0, own.certify());
    base = encrypted.base();
    begin();
    EXPECT_FALSE(failure().isEmpty()) << "nobody knows it";
    authority = own.file();
    begin();
    EXPECT_TRUE(waitUntil([&] { return encrypted.listeners.size() == 1; }));
}
