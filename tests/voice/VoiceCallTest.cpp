#include "voice/VoiceCall.h"

#include "tests/voice/CallFixture.h"
#include "voice/Mulaw.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::SpeechService;
using test::waitUntil;
using Finality = SpeechService::Listener::Finality;

namespace {

class VoiceCallTest : public test::CallFixture {
protected:
    QStringList sentences() const {
        QStringList texts;
        for (std::size_t number = 0; number < speech.requests().size(); ++number)
            texts.append(speech.textOf(number));
        return texts;
    }
    bool asked(std::size_t times) {
        return waitUntil([&] { return requests.size() == times; });
    }
    bool ended() { return tells(u"end"_s); }
};

QJsonObject usageOf(const std::vector<QJsonObject> &messages) {
    return messages.empty() ? QJsonObject() : messages.back()["usage"_L1].toObject();
}

} // namespace

TEST_F(VoiceCallTest, ItGreetsTheCallerInFramesOfWhatWasSynthesised) {
    start();
    EXPECT_TRUE(says(u"call: ☎ call from Ann connected"_s));
    EXPECT_TRUE(says(u"said: ombru: Hello."_s));
    ASSERT_TRUE(spoken(0));
    EXPECT_EQ(speech.textOf(0), u"Hello."_s);
    EXPECT_EQ(speech.requests()[0].header("Authorization"), "Token key");
    EXPECT_EQ(speech.queryOf(0).queryItemValue(u"model"_s), u"voice"_s);
    hearAll();
    auto expected = pcmToUlaw(samplesOf(0));
    expected.append(expected.size() % 160 == 0 ? 0 : 160 - expected.size() % 160, '\xff');
    EXPECT_EQ(sound(), expected);
    for (const auto &message : media()) {
        EXPECT_EQ(message["streamSid"_L1].toString(), PhoneProvider::streamSid());
        EXPECT_EQ(QByteArray::fromBase64(message["media"_L1]["payload"_L1].toString().toLatin1()).size(), 160);
    }
    EXPECT_EQ(told, QStringList({u"start Ann"_s, u"speaking"_s, u"silent"_s}));
}

TEST_F(VoiceCallTest, AFrameGoesOutEachTwentyMilliseconds) {
    options.greeting = u"A greeting of some length."_s;
    start();
    ASSERT_TRUE(spoken(0));
    const auto frames = (samplesOf(0).size() + 159) / 160;
    ASSERT_GT(frames, 3U);
    EXPECT_TRUE(hear(1));
    clock.advance(19ms);
    catchUp();
    EXPECT_EQ(media().size(), 1U);
    clock.advance(1ms);
    catchUp();
    EXPECT_EQ(media().size(), 2U);
    clock.advance(1s);
    catchUp();
    EXPECT_EQ(media().size(), frames);
}

TEST_F(VoiceCallTest, NothingIsLostOrDoubledInTenMinutes) {
    options.greeting = QString(3000, u'a') + u'.';
    while (options.greeting.size() < 60'000)
        options.greeting += options.greeting;
    speech.holds = false;
    start();
    const auto sentences = static_cast<std::size_t>(options.greeting.count(u'.'));
    ASSERT_TRUE(waitUntil([&] { return speech.requests().size() == sentences; }));
    Samples all;
    for (std::size_t number = 0; number < sentences; ++number) {
        const auto samples = samplesOf(number);
        all.insert(all.end(), samples.begin(), samples.end());
    }
    ASSERT_GE(all.size(), std::size_t(10 * 60 * RATE));
    for (std::size_t played = 0; played < all.size() + RATE; played += RATE * 997 / 1000) {
        clock.advance(997ms); // off the grid
        catchUp();
    }
    EXPECT_TRUE(sound().first(qsizetype(all.size())) == pcmToUlaw(all));
    EXPECT_EQ(media().size(), (all.size() + 159) / 160);
}

TEST_F(VoiceCallTest, AnAnswerOfTwoSentencesIsSynthesisedAsTwoInOrder) {
    greet();
    utter(u"what is up"_s);
    ASSERT_TRUE(asked(1));
    requests[0].done(u"All is done. Look! And the rest"_s);
    ASSERT_TRUE(spoken(1));
    ASSERT_TRUE(spoken(2));
    ASSERT_TRUE(spoken(3));
    EXPECT_EQ(sentences(), QStringList({u"Hello."_s, u"All is done."_s, u"Look!"_s, u"And the rest"_s}));
    hearAll();
    Samples all;
    for (const std::size_t number : {1, 2, 3}) {
        const auto samples = samplesOf(number);
        all.insert(all.end(), samples.begin(), samples.end());
    }
    EXPECT_EQ(sound().first(qsizetype(all.size())), pcmToUlaw(all));
    EXPECT_TRUE(says(u"said: ombru: All is done. Look! And the rest"_s));
}

TEST_F(VoiceCallTest, OneSentenceIsSynthesisedAtATime) {
    greet();
    utter(u"what is up"_s);
    ASSERT_TRUE(asked(1));
    requests[0].progress(u"One."_s);
    requests[0].done(u"Two."_s);
    ASSERT_TRUE(waitUntil([this] { return speech.requests().size() == 2; }));
    clock.advance(5s);
    catchUp();
    options.speech.tts(u"and now"_s, u"key"_s, u"voice"_s, [](const auto &) {}); // it comes behind what was asked for
    ASSERT_TRUE(waitUntil([this] { return speech.requests().size() > 2; }));
    EXPECT_EQ(sentences(), QStringList({u"Hello."_s, u"One."_s, u"and now"_s}));
    ASSERT_TRUE(spoken(1));
    ASSERT_TRUE(spoken(3));
    EXPECT_EQ(speech.textOf(3), u"Two."_s);
    speech.answer(2);
}

TEST_F(VoiceCallTest, ACallerWhoTalksOverAnAnswerCutsItOff) {
    greet();
    utter(u"tell me all"_s);
    ASSERT_TRUE(asked(1));
    requests[0].done(u"This is a long answer. It goes on. And on."_s);
    ASSERT_TRUE(spoken(1));
    ASSERT_TRUE(hear(5));
    ASSERT_TRUE(waitUntil([this] { return speech.requests().size() == 3; })); // the second is being synthesised
    speech.newest().results(u"wait"_s, Finality::interim);
    ASSERT_TRUE(waitUntil([this] { return of(u"clear"_s).size() == 1; }));
    const auto heard = received.size();
    EXPECT_EQ(received.back(), QJsonObject({{u"event"_s, u"clear"_s}, {u"streamSid"_s, PhoneProvider::streamSid()}}));
    ASSERT_TRUE(spoken(2)); // too late
    hearAll();
    EXPECT_EQ(received.size(), heard); // not one frame
    EXPECT_EQ(speech.requests().size(), 3U);
    utter(u"wait for me"_s);
    ASSERT_TRUE(asked(2));
    EXPECT_EQ(requests[1].text, u"wait for me"_s);
    EXPECT_EQ(of(u"clear"_s).size(), 1U);
}

TEST_F(VoiceCallTest, SpeechThatWaitsForSynthesisIsNotCutOff) {
    greet();
    utter(u"tell me"_s);
    ASSERT_TRUE(asked(1));
    requests[0].done(u"One. Two."_s);
    ASSERT_TRUE(waitUntil([this] { return speech.requests().size() == 2; }));
    speech.newest().results(u"well"_s, Finality::interim);
    ASSERT_TRUE(waitUntil([this] { return told.count(u"talking"_s) == 2; }));
    ASSERT_TRUE(spoken(1));
    ASSERT_TRUE(spoken(2));
    EXPECT_TRUE(of(u"clear"_s).empty());
}

TEST_F(VoiceCallTest, TheCallersVoiceGoesToRecognitionAsItComes) {
    start();
    EXPECT_EQ(speech.newest().request().header("Authorization"), "Token key");
    const QByteArray first(160, '\x11');
    const QByteArray second(80, '\x22');
    phone->media(first);
    phone->send(uR"({"event":"media","media":{"track":"outbound","payload":"AAAA"}})"_s);
    phone->send(uR"({"event":"media","media":{"payload":"%1"}})"_s.arg(QString::fromLatin1(second.toBase64())));
    EXPECT_TRUE(waitUntil([&] { return speech.newest().audio == first + second; }));
}

TEST_F(VoiceCallTest, FinalPiecesAreJoinedToOneRequestAndInterimOnesAreNot) {
    greet();
    auto &recognition = speech.newest();
    recognition.results(u"open"_s, Finality::interim);
    recognition.results(u"open the"_s, Finality::final);
    recognition.results(u"  editor "_s, Finality::final);
    recognition.results(u""_s, Finality::final);
    EXPECT_TRUE(waitUntil([this] { return told.count(u"talking"_s) == 3; }));
    recognition.results(u""_s, Finality::speechFinal);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(requests[0].text, u"open the editor"_s);
    EXPECT_EQ(requests[0].caller, u"Ann"_s);
    EXPECT_EQ(requests[0].callSid, PhoneProvider::callSid());
    EXPECT_TRUE(says(u"heard: Ann: open the editor"_s));
}

TEST_F(VoiceCallTest, TheEndOfAnUtteranceMakesARequestOfWhatWasHeardAndNothingOfSilence) {
    greet();
    auto &recognition = speech.newest();
    recognition.utteranceEnd();
    recognition.results(u"hello there"_s, Finality::final);
    recognition.utteranceEnd();
    recognition.utteranceEnd();
    recognition.results(u"again"_s, Finality::speechFinal);
    ASSERT_TRUE(asked(2));
    EXPECT_EQ(requests[0].text, u"hello there"_s);
    EXPECT_EQ(requests[1].text, u"again"_s);
    EXPECT_EQ(lines.filter(u"heard:"_s).size(), 2);
}

TEST_F(VoiceCallTest, WhatRecognitionSaysOtherwiseIsIgnored) {
    greet();
    auto &recognition = speech.newest();
    for (const auto &text : {"garbage", "[]", R"({"type":"Metadata"})", R"({"type":"Results"})",
                             R"({"type":"Results","channel":{"alternatives":[]},"speech_final":true})"})
        recognition.send({1, text});
    recognition.send({2, R"({"type":"UtteranceEnd"})"});
    recognition.results(u"now"_s, Finality::speechFinal);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(requests[0].text, u"now"_s);
}

TEST_F(VoiceCallTest, AFailedSynthesisSkipsThatSentenceAndGoesOn) {
    greet();
    speech.misbehave = [this](const test::AccountRequest &) {
        return speech.requests().size() == 2 ? std::optional(test::AccountReply{.status = 500}) : std::nullopt;
    };
    utter(u"go"_s);
    ASSERT_TRUE(asked(1));
    requests[0].done(u"One. Two."_s);
    EXPECT_TRUE(says(u"bad: ✗ text-to-speech failed"_s));
    ASSERT_TRUE(spoken(2));
    hearAll();
    EXPECT_EQ(sound().first(160), pcmToUlaw(samplesOf(2)).first(160));
}

TEST_F(VoiceCallTest, WithoutRecognitionTheCallGoesOn) {
    greet();
    speech.newest().hangUp();
    EXPECT_TRUE(waitUntil([this] { return lines.filter(u"bad: ✗ speech recognition: "_s).size() == 1; }));
    phone->media(QByteArray(160, '\0'));
    call->setSharing(true, true);
    ASSERT_TRUE(spoken(1));
    hearAll();
    EXPECT_FALSE(sound().isEmpty());
    EXPECT_EQ(speech.listeners.size(), 1U);
    EXPECT_FALSE(told.contains(u"end"_s));
}

TEST_F(VoiceCallTest, WithoutAKeyItSaysSoAndEndsWithoutRecognition) {
    options.key.clear();
    connect();
    phone->start();
    EXPECT_TRUE(ended());
    EXPECT_TRUE(says(u"call: ☎ call from Ann ended"_s));
    EXPECT_EQ(lines,
              QStringList({u"call: ☎ call from Ann connected"_s, u"bad: ✗ no Deepgram key — set it in the web admin"_s,
                           u"call: ☎ call from Ann ended"_s}));
    EXPECT_TRUE(speech.listeners.empty());
    EXPECT_TRUE(speech.requests().empty());
}

TEST_F(VoiceCallTest, AConfigFromTheProviderReplacesWhatItNames) {
    options.key.clear();
    connect();
    phone->send(
        uR"({"event":"config","deepgram_key":"other","greeting":"Hi!","tts_model":"deep","share_audio":"on"})"_s);
    phone->send(uR"({"event":"config","deepgram_key":"","greeting":""})"_s);
    phone->start();
    ASSERT_TRUE(spoken(0));
    EXPECT_EQ(speech.textOf(0), u"Hi!"_s);
    EXPECT_EQ(speech.requests()[0].header("Authorization"), "Token other");
    EXPECT_EQ(speech.queryOf(0).queryItemValue(u"model"_s), u"deep"_s);
    EXPECT_TRUE(tells(u"sharing"_s));
}

TEST_F(VoiceCallTest, WhatIsSaidBeforeAnybodyListensIsHeard) {
    speech.holds = false;
    server.emplace(WSServer::Options{
        .port = 0, .token = u"token"_s, .onConnection = [this](const std::shared_ptr<WSConnection> &ws) {
            Loop::main().post([this, ws, inbox = Inbox::of(ws)] {
                Loop::main().post([this, ws, inbox] { // when the start has long come
                    catchUp();
                    call = VoiceCall::begin(ws, *inbox, options);
                });
            });
        }});
    server->start();
    ASSERT_TRUE(waitUntil([this] { return server->port() != 0; }));
    phone.emplace(PhoneProvider::Options{.url = QUrl(u"ws://127.0.0.1:%1/media"_s.arg(server->port())),
                                         .token = u"token"_s,
                                         .from = u"Bob"_s,
                                         .onOpen = [this] { phone->start(); },
                                         .onPong = [this] { ++pongs; }});
    EXPECT_TRUE(tells(u"start Bob"_s));
}

TEST_F(VoiceCallTest, UsageIsToldEachFifteenSecondsWithTheTotals) {
    greet();
    phone->media(QByteArray(8123, '\xff'));
    ASSERT_TRUE(waitUntil([this] { return speech.newest().audio.size() == 8123; }));
    received.clear();
    clock.advance(15s);
    EXPECT_TRUE(waitUntil([this] { return of(u"usage"_s).size() == 1; }));
    const QJsonObject first{{u"stt_seconds"_s, 1.02}, {u"tts_chars"_s, 6}};
    EXPECT_EQ(usageOf(of(u"usage"_s)), first);
    phone->media(QByteArray(4000, '\xff'));
    ASSERT_TRUE(waitUntil([this] { return speech.newest().audio.size() == 12123; }));
    clock.advance(15s);
    EXPECT_TRUE(waitUntil([this] { return of(u"usage"_s).size() == 2; }));
    const QJsonObject second{{u"stt_seconds"_s, 1.52}, {u"tts_chars"_s, 6}};
    EXPECT_EQ(usageOf(of(u"usage"_s)), second);
}

TEST_F(VoiceCallTest, AStopTellsTheUsageClosesRecognitionAndThenTheConnection) {
    greet();
    phone->stop();
    EXPECT_TRUE(ended());
    EXPECT_TRUE(says(u"call: ☎ call from Ann ended"_s));
    EXPECT_TRUE(waitUntil([this] { return speech.newest().closeCode.has_value(); }));
    EXPECT_EQ(speech.newest().closeCode, 1000);
    EXPECT_EQ(speech.newest().texts, QList<QByteArray>{R"({"type": "CloseStream"})"});
    EXPECT_TRUE(waitUntil([this] { return of(u"usage"_s).size() == 1; }));
    EXPECT_FALSE(phoneClosed);
    clock.advance(299ms);
    catchUp();
    EXPECT_FALSE(phoneClosed);
    clock.advance(1ms);
    EXPECT_TRUE(waitUntil([this] { return phoneClosed.has_value(); }));
}

TEST_F(VoiceCallTest, ACallThatNeverStartedTellsNoUsage) {
    connect();
    phone->stop();
    EXPECT_TRUE(ended());
    catchUp();
    EXPECT_TRUE(received.empty());
}

TEST_F(VoiceCallTest, AProviderThatGoesAwayEndsIt) {
    greet();
    phone->hangUp();
    EXPECT_TRUE(ended());
    EXPECT_TRUE(waitUntil([this] { return speech.newest().closeCode == 1000; }));
    EXPECT_EQ(told.count(u"end"_s), 1);
}

TEST_F(VoiceCallTest, NothingOfAFinishedCallStays) {
    greet();
    utter(u"a task"_s);
    ASSERT_TRUE(asked(1));
    requests[0].progress(u"A sentence that is being synthesised when the call ends."_s);
    ASSERT_TRUE(waitUntil([this] { return speech.requests().size() == 2; }));
    phone->stop();
    EXPECT_TRUE(ended());
    const auto weak = std::weak_ptr(call);
    call.reset();
    EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
    requests[0].done(u"nobody hears this"_s);
    catchUp();
    EXPECT_FALSE(lines.contains(u"said: ombru: nobody hears this"_s));
    EXPECT_EQ(speech.requests().size(), 2U);
    EXPECT_FALSE(phoneClosed);
    clock.advance(300ms);
    EXPECT_TRUE(waitUntil([this] { return phoneClosed.has_value(); }));
}

TEST_F(VoiceCallTest, AnAnswerWithoutATextIsSilentAndAProgressIsSpoken) {
    greet();
    utter(u"a task"_s);
    ASSERT_TRUE(asked(1));
    requests[0].progress(u"On it."_s);
    ASSERT_TRUE(spoken(1));
    requests[0].done(u""_s);
    requests[0].progress(u"Still."_s);
    ASSERT_TRUE(spoken(2));
    EXPECT_EQ(sentences(), QStringList({u"Hello."_s, u"On it."_s, u"Still."_s}));
    EXPECT_EQ(lines.filter(u"said:"_s).size(), 3);
}

TEST_F(VoiceCallTest, WhatAProviderSaysOtherwiseIsIgnored) {
    greet();
    phone->mark(u"m"_s);
    phone->dtmf(u"1"_s);
    phone->send(u"garbage"_s);
    phone->start(); // it has started
    catchUp();      // the connection has told all of it
    catchUp();      // and the call has heard it
    utter(u"still there"_s);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(speech.listeners.size(), 1U);
    EXPECT_EQ(lines.filter(u"connected"_s).size(), 1);
}

TEST_F(VoiceCallTest, BeforeTheStreamIsKnownNoFrameGoesOut) {
    connect();
    phone->send(uR"({"event":"start","start":{"callSid":"CA1"}})"_s);
    ASSERT_TRUE(spoken(0));
    EXPECT_TRUE(waitUntil([this] {
        clock.advance(20ms);
        catchUp();
        return told.contains(u"silent"_s);
    }));
    EXPECT_TRUE(told.contains(u"speaking"_s));
    catchUp();
    EXPECT_TRUE(media().empty());
}
