// Calls, from the account's configuration to the spoken answer, over real connections.

#include "app/call/PhoneProvider.h"
#include "base/SystemEvents.h"
#include "tests/controller/LinkFixture.h"
#include "tests/support/SpeechService.h"

#include <QTcpServer>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::SpeechService;
using test::waitUntil;
using Outcome = TaskResult::Outcome;
using Finality = SpeechService::Listener::Finality;

namespace {

quint16 freePort() {
    QTcpServer server;
    EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
    return server.serverPort();
}

class CallDeskTest : public test::LinkFixture {
protected:
    CallDeskTest() {
        EXPECT_TRUE(state->settings.callPort.write(port));
        EXPECT_TRUE(state->settings.speechURL.write(speech.base()));
        allow(true);
    }
    void allow(bool trusted, const QByteArray &token = "tok") {
        config = json(R"({"email": "ann@host", "trusted": )" + QByteArray(trusted ? "true" : "false") +
                      R"(, "ws_token": ")" + token +
                      R"(", "deepgram_key": "key", "greeting": "Hello.", "share_audio": "off"})");
    }
    // The server is ready for calls.
    void open() {
        boot();
        ASSERT_TRUE(waitUntil([this] { return state->serverListening(); })) << state->serverStatus().toStdString();
    }
    // And the heartbeat of the boot before has finished its round.
    void bootAgain() {
        test::await(state->boot());
        comeToRest();
    }
    void signInAgain() {
        start = json(R"({"device_code": "d", "user_code": "AB", "verify_url": "https://host/", "interval": 0.01})");
        polls = {json(R"({"status": "ok", "token": "again"})")};
        state->signIn();
        ASSERT_TRUE(says(u"good: signed in as ann@host"_s));
    }
    struct Phone {
        std::unique_ptr<PhoneProvider> line;
        bool open = false;
        std::optional<QString> closed;
        QStringList texts; // what came
    };
    Phone &dial(const QString &from, const QString &path = u"/media"_s, const QString &token = u"tok"_s) {
        auto &phone = *phones.emplace_back(std::make_unique<Phone>());
        phone.line = std::make_unique<PhoneProvider>(PhoneProvider::Options{
            .url = QUrl(u"ws://127.0.0.1:%1%2"_s.arg(port).arg(path)),
            .token = token,
            .from = from,
            .onOpen = [&phone] { phone.open = true; },
            .onMessage =
                [&phone](const QJsonObject &message) {
                    phone.texts.append(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
                },
            .onClosed = [&phone](const QString &why) { phone.closed = why; }});
        EXPECT_TRUE(waitUntil([&] { return phone.open || phone.closed; }));
        return phone;
    }
    // A call in which recognition listens, and how many there are then.
    Phone &call(const QString &from) {
        auto &phone = dial(from);
        const auto before = speech.listeners.size();
        phone.line->connected();
        phone.line->start();
        EXPECT_TRUE(waitUntil([&] { return speech.listeners.size() > before; }));
        return phone;
    }
    void utter(const QString &text) { speech.newest().results(text, Finality::speechFinal); }
    // From now on it is there, and answers a question once the file "go" is.
    void makeClaudeReady() {
        EXPECT_TRUE(QFile::rename(CLAUDE + u".away"_s, CLAUDE));
        claude.file(u"reply"_s, resultJson(u"DONE: ok"_s));
        claude.playAlways("case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() +
                          "'; exit;; auth) echo '{\"loggedIn\":true}'; exit;; esac\n"
                          "while [ ! -e \"$HOME/go\" ]; do sleep 0.01; done\ncat \"$d/reply\"\n");
    }
    bool shows(const QString &icon) {
        return waitUntil([&] { return state->icon() == icon; });
    }
    bool says(const QString &event) {
        return waitUntil([&] { return events.contains(event); });
    }
    bool onTheLine(const QStringList &callers) {
        return waitUntil([&] { return state->activeCalls() == callers; });
    }
    bool notified(const QString &title) {
        return waitUntil([&] { return notificationTitles().contains(title); });
    }

    const quint16 port = freePort();
    SpeechService speech{SpeechService::Voice::tones};
    std::vector<std::unique_ptr<Phone>> phones;
};

} // namespace

TEST_F(CallDeskTest, WithoutTrustNoPortIsOpenedAndTheStatusNamesTheAdmin) {
    allow(false);
    boot();
    EXPECT_EQ(state->serverStatus(), u"calls don't reach this Mac (ask the admin to route your number)"_s);
    EXPECT_FALSE(state->serverListening());
    EXPECT_TRUE(dial(u"Ann"_s).closed);
}

TEST_F(CallDeskTest, WithoutATokenNoPortIsOpenedAndTheStatusNamesTheAdmin) {
    allow(true, "");
    boot();
    EXPECT_EQ(state->serverStatus(), u"calls don't reach this Mac (ask the admin to route your number)"_s);
    EXPECT_FALSE(state->serverListening());
    EXPECT_TRUE(dial(u"Ann"_s, u"/media"_s, u""_s).closed);
    state->signOut();
    EXPECT_EQ(state->serverStatus(), u""_s);
}

TEST_F(CallDeskTest, AServerThatTakesCallsSaysSo) {
    open();
    const auto line = u"taking calls on port %1"_s.arg(port);
    EXPECT_EQ(state->serverStatus(), line);
    EXPECT_TRUE(says(u"call: "_s + line));
    EXPECT_FALSE(dial(u"Ann"_s, u"/media"_s, u"wrong"_s).open);
}

TEST_F(CallDeskTest, APortThatIsTakenIsSaidOnceAndNotTriedAgain) {
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress::LocalHost, port));
    boot();
    EXPECT_TRUE(waitUntil([this] { return state->serverStatus->startsWith(u"✗ call server: "_s); }));
    EXPECT_TRUE(state->serverStatus->endsWith(u" — is the Python harness still running?"_s));
    EXPECT_FALSE(state->serverListening());
    other.close();
    const auto before = events.filter(u"call server"_s).size();
    EXPECT_EQ(before, 1);
    test::await(state->boot());
    comeToRest();
    EXPECT_EQ(events.filter(u"call server"_s).size(), before);
    EXPECT_FALSE(state->serverListening());
}

TEST_F(CallDeskTest, TrustThatComesLaterStartsIt) {
    allow(false);
    boot();
    allow(true);
    test::await(state->boot());
    EXPECT_TRUE(waitUntil([this] { return state->serverListening(); }));
}

TEST_F(CallDeskTest, ARunningServerKeepsItsTokenUntilASignOut) {
    open();
    allow(true, "new");
    bootAgain();
    EXPECT_EQ(state->config->wsToken, u"new"_s);
    EXPECT_TRUE(dial(u"Ann"_s).open) << "with the one it was started with";
    EXPECT_FALSE(dial(u"Bob"_s, u"/media"_s, u"new"_s).open);
    state->signOut();
    ASSERT_TRUE(waitUntil([this] { return !dial(u"Ann"_s).open; }));
    signInAgain();
    ASSERT_TRUE(waitUntil([this] { return state->serverListening(); })) << state->serverStatus().toStdString();
    EXPECT_TRUE(dial(u"Bob"_s, u"/media"_s, u"new"_s).open);
    EXPECT_FALSE(dial(u"Ann"_s).open);
}

TEST_F(CallDeskTest, ARunningServerStaysWhenTrustEndsUntilASignOut) {
    open();
    allow(false);
    bootAgain();
    EXPECT_FALSE(state->config->trusted);
    EXPECT_TRUE(state->serverListening());
    EXPECT_TRUE(dial(u"Ann"_s).open);
    state->signOut();
    ASSERT_TRUE(waitUntil([this] { return !dial(u"Ann"_s).open; }));
    signInAgain();
    EXPECT_TRUE(state->serverStatus->startsWith(u"calls don't reach this Mac"_s));
    EXPECT_FALSE(dial(u"Ann"_s).open);
}

TEST_F(CallDeskTest, ACallIsShownWhileItLastsAndAnnounced) {
    open();
    auto &phone = call(u"Ann"_s);
    EXPECT_TRUE(onTheLine({u"Ann"_s}));
    EXPECT_TRUE(notified(u"Call from Ann"_s));
    EXPECT_TRUE(says(u"call: ☎ call from Ann connected"_s));
    EXPECT_TRUE(says(u"said: ombru: Hello."_s));
    phone.line->stop();
    EXPECT_TRUE(onTheLine({}));
    EXPECT_TRUE(says(u"call: ☎ call from Ann ended"_s));
    EXPECT_TRUE(waitUntil([&] { return phone.closed.has_value(); }));
    EXPECT_FALSE(state->speaking());
}

TEST_F(CallDeskTest, TheIconShowsAllThatItDependsOn) {
    makeClaudeReady();
    FakePlatform::instance().desktop->applications[SYSTEM_EVENTS_ID.toString()] = {.name = u"System Events"_s};
    EXPECT_TRUE(shows(u"phone.down"_s));
    allow(false);
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    EXPECT_TRUE(shows(u"phone.down"_s)) << "it takes no calls";
    allow(true);
    bootAgain();
    ASSERT_TRUE(waitUntil([this] { return state->serverListening(); }));
    EXPECT_TRUE(shows(u"phone"_s));
    FakePlatform::instance().desktop->inputAllowed = false;
    test::await(state->refreshPermissions());
    EXPECT_TRUE(shows(u"phone.badge.exclamationmark"_s));
    FakePlatform::instance().desktop->inputAllowed = true;
    test::await(state->refreshPermissions());
    EXPECT_TRUE(shows(u"phone"_s));

    state->setWebChannelOpen(false);
    EXPECT_TRUE(shows(u"phone"_s)) << "the service answers still";
    ASSERT_TRUE(state->settings.serverURL.write(u"http://127.0.0.1:1"_s));
    bootAgain();
    EXPECT_FALSE(state->cloudReachable());
    EXPECT_TRUE(shows(u"phone.down"_s));
    state->setWebChannelOpen(true);
    EXPECT_TRUE(shows(u"phone"_s)) << "the channel is open";
    state->cancelSignIn();
    EXPECT_TRUE(shows(u"phone.down"_s)) << "signed out";

    call(u"Ann"_s);
    EXPECT_TRUE(onTheLine({u"Ann"_s}));
    EXPECT_TRUE(shows(u"phone.fill"_s));
    ASSERT_TRUE(state->startTask(u"look"_s));
    EXPECT_TRUE(shows(u"phone.connection.fill"_s));
    go();
    finish();
    EXPECT_TRUE(shows(u"phone.fill"_s));
}

TEST_F(CallDeskTest, EachCallEndsItsOwnEntry) {
    open();
    auto &first = call(u"Ann"_s);
    call(u"Bob"_s);
    call(u"Ann"_s);
    EXPECT_TRUE(onTheLine({u"Ann"_s, u"Bob"_s, u"Ann"_s}));
    first.line->hangUp();
    EXPECT_TRUE(onTheLine({u"Bob"_s, u"Ann"_s}));
    auto &silent = dial(u"Bob"_s); // never starts
    ASSERT_TRUE(silent.open);
    silent.line->stop();
    EXPECT_TRUE(waitUntil([&] { return silent.closed.has_value(); }));
    EXPECT_TRUE(onTheLine({u"Bob"_s, u"Ann"_s}));
}

TEST_F(CallDeskTest, ASpokenRequestBecomesATaskAndItsAnswerIsSpoken) {
    open();
    call(u"Ann"_s);
    answerQuestions({u"DONE: It is done"_s});
    utter(u"open the editor"_s);
    EXPECT_TRUE(says(u"heard: Ann: open the editor"_s));
    EXPECT_TRUE(says(u"said: ombru: On it."_s));
    EXPECT_TRUE(says(u"call: ☎ spoken reply: It is done"_s));
    EXPECT_TRUE(says(u"said: ombru: It is done"_s));
    EXPECT_EQ(finish(), (TaskResult{Outcome::done, u"It is done"_s}));
    EXPECT_TRUE(waitUntil([this] { return speech.requests().size() == 3; }));
    EXPECT_EQ(speech.textOf(2), u"It is done"_s);
}

TEST_F(CallDeskTest, AStopWordEndsTheRunningTask) {
    open();
    for (const auto &word : {u"Stop!"_s, u"Never mind."_s}) {
        events.clear();
        call(u"Ann"_s);
        answerQuestions({u"DONE: late"_s, u"DONE: late"_s}, true);
        utter(u"take your time"_s);
        ASSERT_TRUE(waitUntil([this] { return state->busy(); }));
        utter(word);
        EXPECT_TRUE(says(u"call: ☎ Ann said stop — cancelling"_s));
        EXPECT_EQ(finish().outcome, Outcome::cancelled);
        EXPECT_TRUE(says(u"said: ombru: Okay, stopped."_s));
        EXPECT_TRUE(QFile::rename(CLAUDE, CLAUDE + u".away"_s));
    }
    utter(u"stop"_s);
    EXPECT_TRUE(says(u"said: ombru: Nothing's running right now."_s));
}

TEST_F(CallDeskTest, ASecondRequestWhileATaskRunsIsToldSoAndDoesNotQueue) {
    open();
    call(u"Ann"_s);
    answerQuestions({u"DONE: first"_s, u"DONE: second"_s}, true);
    utter(u"take your time"_s);
    ASSERT_TRUE(waitUntil([this] { return state->busy(); }));
    call(u"Bob"_s);
    utter(u"stop the music"_s);
    EXPECT_TRUE(says(u"said: ombru: I'm still working on the last thing. Say stop to cancel it."_s));
    go();
    finish();
    EXPECT_TRUE(says(u"said: ombru: first"_s));
    comeToRest();
    EXPECT_EQ(questions(), 1);
}

TEST_F(CallDeskTest, ACallThatDropsMidTaskLeavesTheTaskAlone) {
    open();
    auto &phone = call(u"Ann"_s);
    answerQuestions({u"DONE: first"_s}, true);
    utter(u"take your time"_s);
    ASSERT_TRUE(waitUntil([this] { return state->busy(); }));
    phone.line->hangUp();
    EXPECT_TRUE(onTheLine({}));
    go();
    EXPECT_EQ(finish(), (TaskResult{Outcome::done, u"first"_s}));
    comeToRest();
    EXPECT_FALSE(events.contains(u"said: ombru: first"_s));
    EXPECT_TRUE(events.filter(u"bad: "_s).isEmpty()) << events.join(u'\n').toStdString();
}

TEST_F(CallDeskTest, TheTextChannelTakesRequestsAndIsNoCall) {
    open();
    auto &typed = dial({}, u"/"_s);
    answerQuestions({u"DONE: written"_s}, true);
    typed.line->send(uR"({"id": 1, "text": "stop"})"_s);
    typed.line->send(uR"({"id": 2, "text": "write it", "from": "script"})"_s);
    EXPECT_TRUE(waitUntil([this] { return state->busy(); }));
    EXPECT_EQ(state->caller(), u"script"_s);
    EXPECT_TRUE(state->activeCalls->isEmpty());
    typed.line->send(uR"({"id": 3, "text": "and more"})"_s);
    EXPECT_TRUE(waitUntil([&] { return typed.texts.size() == 3; }));
    go();
    finish();
    EXPECT_TRUE(waitUntil([&] { return typed.texts.size() == 4; }));
    EXPECT_EQ(
        typed.texts,
        QStringList({uR"({"id":1,"reply":"Nothing's running right now."})"_s, uR"({"id":2,"progress":"On it."})"_s,
                     uR"({"id":3,"reply":"I'm still working on the last thing. Say stop to cancel it."})"_s,
                     uR"({"id":2,"reply":"written"})"_s}));
}

TEST_F(CallDeskTest, AStopByTextIsAnsweredWithNothing) {
    open();
    auto &typed = dial({}, u"/"_s);
    answerQuestions({u"DONE: late"_s}, true);
    typed.line->send(uR"({"id": 1, "text": "write it"})"_s);
    EXPECT_TRUE(waitUntil([this] { return state->busy(); }));
    typed.line->send(uR"({"id": 2, "text": "stop"})"_s);
    EXPECT_TRUE(waitUntil([&] { return typed.texts.contains(uR"({"id":2,"reply":""})"_s); }));
    EXPECT_TRUE(waitUntil([&] { return typed.texts.contains(uR"({"id":1,"reply":"Okay, stopped."})"_s); }));
}

TEST_F(CallDeskTest, TheCallerTalkingIsShownUntilAMomentAfterTheLastWord) {
    open();
    call(u"Ann"_s);
    ManualClock clock;
    speech.newest().results(u"well"_s, Finality::interim);
    EXPECT_TRUE(waitUntil([this] { return state->callerTalking(); }));
    EXPECT_EQ(state->activity(), u"Caller talking…"_s);
    clock.advance(1000ms);
    utter(u"stop"_s);
    EXPECT_TRUE(says(u"heard: Ann: stop"_s)); // and so it was noted that she talks
    clock.advance(1199ms);
    comeToRest();
    EXPECT_TRUE(state->callerTalking());
    clock.advance(1ms);
    EXPECT_TRUE(waitUntil([this] { return !state->callerTalking(); }));
}

TEST_F(CallDeskTest, TheActivityIsTheCallersThenTheSpeakersThenTheTasksThenThatThereIsACall) {
    EXPECT_EQ(state->activity(), std::nullopt);
    open();
    speech.holds = true;
    call(u"Ann"_s);
    EXPECT_TRUE(waitUntil([this] { return state->activity() == u"Speaking…"_s; }));
    speech.newest().results(u"well"_s, Finality::interim);
    EXPECT_TRUE(waitUntil([this] { return state->activity() == u"Caller talking…"_s; }));
    EXPECT_TRUE(waitUntil([this] { return state->activity() == u"Speaking…"_s; }));
    speech.answer(0);
    EXPECT_TRUE(waitUntil([this] { return state->activity() == u"On a call"_s; }));
    state->setActivity(u"Thinking"_s);
    EXPECT_EQ(state->activity(), u"Thinking"_s);
}

TEST_F(CallDeskTest, TheSoundIsSharedInEveryCallAndEachCallerHearsOfIt) {
    open();
    EXPECT_FALSE(state->shareAudio(true));
    auto &first = call(u"Ann"_s);
    call(u"Bob"_s);
    EXPECT_TRUE(onTheLine({u"Ann"_s, u"Bob"_s}));
    EXPECT_TRUE(state->shareAudio(true));
    const auto line = u"said: ombru: Sharing the computer's audio again."_s;
    EXPECT_TRUE(waitUntil([&] { return events.count(line) == 2; }));
    EXPECT_TRUE(state->sharing());
    first.line->hangUp();
    EXPECT_TRUE(onTheLine({u"Bob"_s}));
    EXPECT_TRUE(state->sharing()); // into the other one
    EXPECT_TRUE(state->shareAudio(false));
    EXPECT_TRUE(waitUntil([this] { return !state->sharing(); }));
    EXPECT_TRUE(says(u"said: ombru: Okay, stopped sharing."_s));
}

TEST_F(CallDeskTest, ASignOutClosesThePortAndLeavesTheCalls) {
    open();
    auto &phone = call(u"Ann"_s);
    state->signOut();
    EXPECT_EQ(state->serverStatus(), u""_s);
    EXPECT_FALSE(state->serverListening());
    EXPECT_TRUE(waitUntil([this] { return !dial(u"Bob"_s).open; }));
    utter(u"stop"_s);
    EXPECT_TRUE(says(u"said: ombru: Nothing's running right now."_s));
    EXPECT_FALSE(phone.closed);
    EXPECT_EQ(state->activeCalls(), QStringList(u"Ann"_s));
}

TEST_F(CallDeskTest, TheEndOfTheProgramHangsUp) {
    open();
    auto &phone = call(u"Ann"_s);
    auto &typed = dial({}, u"/"_s);
    test::await(state->drain());
    EXPECT_TRUE(waitUntil([&] { return phone.closed && typed.closed; }));
    EXPECT_TRUE(phone.texts.last().contains(u"usage"_s)) << phone.texts.last().toStdString();
    EXPECT_TRUE(says(u"call: ☎ call from Ann ended"_s));
}

TEST_F(CallDeskTest, WhatIsSaidAsTheProgramEndsBeginsNothing) {
    open();
    call(u"Ann"_s);
    answerQuestions({u"DONE: late"_s});
    std::optional<Task<>> end;
    const auto heard = state->onEvent([&](const Event &event) { // which comes before what is asked
        if (event.kind == EventKind::heard && !end)
            end = state->drain();
    });
    utter(u"write it"_s);
    ASSERT_TRUE(waitUntil([&] { return end.has_value(); }));
    test::await(std::move(*end));
    comeToRest();
    EXPECT_TRUE(events.filter(u"❯ write it"_s).isEmpty()) << events.join(u'\n').toStdString();
    EXPECT_FALSE(state->busy());
}

TEST_F(CallDeskTest, ThePageIsToldWhoCalls) {
    open();
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() >= 2; }));
    auto &phone = call(u"Ann"_s);
    const auto told = [this](const QByteArray &calls) {
        return waitUntil([&] {
            return std::ranges::any_of(service.newest().frames, [&](const auto &frame) {
                return frame.payload.contains(R"("calls":)" + calls) && frame.payload.contains(R"("type":"state")");
            });
        });
    };
    EXPECT_TRUE(told(R"(["Ann"])"));
    service.newest().frames.clear();
    phone.line->stop();
    EXPECT_TRUE(told("[]"));
}
