// A call between a telephony provider and a speech service, both of which the test plays.
#pragma once
#include "app/call/PhoneProvider.h"
#include "base/Background.h"
#include "net/HttpClient.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/SpeechService.h"
#include "tests/support/Wait.h"
#include "voice/Inbox.h"
#include "voice/VoiceCall.h"
#include "voice/WSServer.h"
#include "voice/Wav.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace ombru::test {

using namespace Qt::StringLiterals;

class CallFixture : public testing::Test {
protected:
    CallFixture() {
        FakePlatform::reset();
        speech.holds = true;
        options.speech = {speech.base()};
        options.key = u"key"_s;
        options.greeting = u"Hello."_s;
        options.ttsModel = u"voice"_s;
        options.ask = [this](const VoiceCall::Request &request) {
            Loop::main().post([this, request] { requests.push_back(request); });
        };
        options.log = [this](const QString &line, VoiceCall::LineKind kind) {
            Loop::main().post([this, line, kind] { lines.append(nameOf(kind) + u": "_s + line); });
        };
        options.onStart = [this](const QString &caller) { note(u"start "_s + caller); };
        options.onTalking = [this] { note(u"talking"_s); };
        options.onSpeaking = [this](bool on) { note(on ? u"speaking"_s : u"silent"_s); };
        options.onSharingChange = [this](bool on) { note(on ? u"sharing"_s : u"not sharing"_s); };
        options.onEnd = [this] { note(u"end"_s); };
    }
    ~CallFixture() override {
        if (call)
            call->hangUp();
        waitUntil([this] { return !phone || told.contains(u"end"_s) || !call; });
        call.reset();
        phone.reset();
        server.reset();
        EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
        settle();
    }

    static QString nameOf(VoiceCall::LineKind kind) {
        return QStringList{u"said"_s, u"heard"_s, u"call"_s, u"bad"_s}[static_cast<int>(kind)];
    }
    void note(const QString &what) {
        Loop::main().post([this, what] { told.append(what); });
    }

    // The provider has connected, and nothing else.
    void connect() {
        server.emplace(WSServer::Options{
            .port = 0, .token = u"token"_s, .onConnection = [this](const std::shared_ptr<WSConnection> &ws) {
                Loop::main().post([this, ws, inbox = Inbox::of(ws)] { call = VoiceCall::begin(ws, *inbox, options); });
            }});
        server->start();
        ASSERT_TRUE(waitUntil([this] { return server->port() != 0; }));
        bool open = false;
        phone.emplace(
            PhoneProvider::Options{.url = QUrl(u"ws://127.0.0.1:%1/media"_s.arg(server->port())),
                                   .token = u"token"_s,
                                   .from = u"Ann"_s,
                                   .onOpen = [&open] { open = true; },
                                   .onMessage = [this](const QJsonObject &message) { received.push_back(message); },
                                   .onPong = [this] { ++pongs; },
                                   .onClosed = [this](const QString &why) { phoneClosed = why; }});
        ASSERT_TRUE(waitUntil([this, &open] { return open && call; }));
    }
    // The call runs, and the speech service listens.
    void start() {
        connect();
        phone->connected();
        phone->start();
        ASSERT_TRUE(waitUntil([this] { return !speech.listeners.empty(); }));
    }
    // It does, and the greeting has been heard.
    void greet() {
        start();
        ASSERT_TRUE(spoken(0));
        hearAll();
        received.clear();
        told.clear();
    }

    bool says(const QString &line) {
        return waitUntil([&] { return lines.contains(line); });
    }
    bool tells(const QString &what) {
        return waitUntil([&] { return told.contains(what); });
    }
    // The speech service speaks its sentence with that number.
    bool spoken(std::size_t number) {
        if (!waitUntil([&] { return speech.requests().size() > number; }))
            return false;
        speech.answer(number);
        return waitUntil([&] { return !speech.isWaitedFor(number); }) && arrived();
    }
    // What the speech service has answered is with the call: requests are told in order, and so is one behind it.
    bool arrived() {
        std::atomic<bool> answered = false;
        exchangeLater({.url = u"http://127.0.0.1:%1/"_s.arg(server->port()), .body = {}}, {},
                      [&answered](const Result<HttpReply> &) { answered = true; });
        return waitUntil([&answered] { return answered.load(); }) && passLoops();
    }
    // What was due on every loop has been done.
    bool passLoops() {
        return std::ranges::all_of(std::array{&one, &other}, [](SerialQueue *queue) {
            std::atomic<bool> done = false;
            queue->post([&done] { done = true; });
            return waitUntil([&done] { return done.load(); });
        });
    }
    // Time goes by until the provider has got so many frames; false when there are more.
    bool hear(std::size_t frames) {
        return waitUntil([&] {
                   clock.advance(std::chrono::milliseconds(20));
                   catchUp();
                   return media().size() >= frames;
               }) &&
               media().size() == frames;
    }
    // Until two seconds of silence.
    void hearAll() {
        std::size_t before = 0;
        int silent = 0;
        waitUntil([&] {
            clock.advance(std::chrono::milliseconds(20));
            catchUp();
            silent = media().size() == std::exchange(before, media().size()) ? silent + 1 : 0;
            return silent > 100;
        });
    }
    // What was due has been done on every loop, and what the call has sent has come: the provider gets the answer to a
    // ping behind it.
    void catchUp() {
        passLoops();
        passLoops();
        const auto before = pongs;
        phone->ping();
        waitUntil([&] { return pongs > before; });
    }
    std::vector<QJsonObject> of(const QString &event) const {
        std::vector<QJsonObject> found;
        std::ranges::copy_if(received, std::back_inserter(found),
                             [&](const QJsonObject &message) { return message["event"_L1] == event; });
        return found;
    }
    std::vector<QJsonObject> media() const { return of(u"media"_s); }
    QByteArray sound() const {
        QByteArray bytes;
        for (const auto &message : media())
            bytes += QByteArray::fromBase64(message["media"_L1]["payload"_L1].toString().toLatin1());
        return bytes;
    }

    Samples samplesOf(std::size_t number) { return wavToPCM8k(speech.speech(speech.requests()[number]).body); }

    // Recognition hears an utterance.
    void utter(const QString &text) { speech.newest().results(text, SpeechService::Listener::Finality::speechFinal); }

    ManualClock clock;
    SerialQueue one{"test"}; // on one loop, and on the other
    SerialQueue other{"test"};
    SpeechService speech{SpeechService::Voice::tones};
    VoiceCall::Options options;
    std::optional<WSServer> server;
    std::optional<PhoneProvider> phone;
    std::shared_ptr<VoiceCall> call;
    std::vector<VoiceCall::Request> requests;
    std::vector<QJsonObject> received;
    std::optional<QString> phoneClosed;
    QStringList lines;
    QStringList told;
    int pongs = 0;
};

} // namespace ombru::test
