#include "voice/Deepgram.h"

#include "base/SerialQueue.h"
#include "tests/support/Certificates.h"
#include "tests/support/Processes.h"
#include "tests/support/SpeechService.h"
#include "tests/support/Wait.h"

#include <QThread>

#include <algorithm>
#include <mutex>
#include <ranges>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountReply;
using test::SpeechService;
using test::waitUntil;
using Manner = AccountReply::Manner;

namespace {

// What was spoken, by the number of its request, kept for the main thread.
struct Told {
    std::mutex mutex;
    std::vector<std::pair<int, std::optional<Samples>>> all;
};

class DeepgramTest : public testing::Test {
protected:
    void ask(const QString &text, std::stop_token stop = {}) {
        speech.tts(
            text, u"sécret"_s, u"aura-2-thalia-en"_s,
            [told = told, number = asked++](std::optional<Samples> samples) {
                const std::lock_guard lock(told->mutex);
                told->all.emplace_back(number, std::move(samples));
            },
            std::move(stop));
    }
    auto all() const {
        const std::lock_guard lock(told->mutex);
        return told->all;
    }
    std::optional<Samples> answer() {
        EXPECT_TRUE(waitUntil([this] { return !all().empty(); }));
        return all().at(0).second;
    }
    std::optional<Samples> said(const QString &text) {
        ask(text);
        return answer();
    }
    void misbehave(const AccountReply &reply) {
        service.misbehave = [reply](const auto &) { return reply; };
    }

    SpeechService service{SpeechService::Voice::tones};
    Deepgram speech{.base = service.base()};
    std::shared_ptr<Told> told = std::make_shared<Told>();
    int asked = 0;
};

} // namespace

TEST_F(DeepgramTest, ASentenceComesBackAsSamples) {
    const auto samples = said(u"Ten words."_s);
    ASSERT_TRUE(samples);
    EXPECT_EQ(samples->size(), 10U * 80);
    EXPECT_EQ(std::ranges::max(*samples), 16383);
}

TEST_F(DeepgramTest, WhatAsksForASentenceStaysForTheNextOne) {
    ASSERT_TRUE(said(u"One."_s));
    const auto asking = test::childrenOf(QCoreApplication::applicationPid());
    EXPECT_EQ(asking.size(), 1);
    ask(u"Two."_s);
    ASSERT_TRUE(waitUntil([this] { return all().size() == 2; }));
    EXPECT_EQ(test::childrenOf(QCoreApplication::applicationPid()), asking);
}

TEST_F(DeepgramTest, AsksAsTheServiceWantsToBeAsked) {
    ASSERT_TRUE(said(u"Sagt \"ja\",\nbitte – schön"_s));
    ASSERT_EQ(service.requests().size(), 1U);
    const auto &request = service.requests()[0];
    EXPECT_EQ(request.line(),
              "POST /v1/speak?model=aura-2-thalia-en&encoding=linear16&sample_rate=8000&container=wav HTTP/1.1");
    EXPECT_EQ(request.header("Authorization"), "Token sécret");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.json(), (QJsonObject{{u"text"_s, u"Sagt \"ja\",\nbitte – schön"_s}}));
}

TEST_F(DeepgramTest, SpeechIsReal) {
    SpeechService real;
    speech.base = real.base();
    const auto samples = said(u"Okay, stopped sharing."_s);
    ASSERT_TRUE(samples);
    EXPECT_GT(samples->size(), 8000U) << "espeak-ng or sox is missing?";
    EXPECT_GT(std::ranges::max(*samples), 3000);
}

TEST_F(DeepgramTest, AStatusOtherThanTwoHundredIsNothing) {
    for (const int status : {201, 204, 400, 401, 404, 500, 503}) {
        misbehave({.status = status, .body = "RIFF"});
        EXPECT_FALSE(said(u"a"_s)) << status;
        told->all.clear();
    }
}

TEST_F(DeepgramTest, NobodyListeningIsNothing) {
    speech.base = u"http://127.0.0.1:1"_s;
    EXPECT_FALSE(said(u"a"_s));
}

TEST_F(DeepgramTest, NoNetworkIsNothing) {
    speech.base = u"http://nowhere.invalid"_s;
    EXPECT_FALSE(said(u"a"_s));
}

TEST_F(DeepgramTest, AnAnswerThatBreaksOffIsNothing) {
    misbehave({.body = QByteArray(1000, 'x'), .manner = Manner::dropsMidway});
    EXPECT_FALSE(said(u"a"_s));
}

TEST_F(DeepgramTest, ABodyThatIsNoWavIsEmptySpeech) {
    misbehave({.body = "{\"err_msg\": \"no\"}"});
    EXPECT_EQ(said(u"a"_s), Samples());
}

TEST_F(DeepgramTest, AnAnswerThatStallsIsGivenUpAtTheLimit) {
    for (const auto manner : {Manner::silence, Manner::stallsMidway}) {
        misbehave({.body = QByteArray(1000, 'x'), .manner = manner});
        speech.limit = 50ms;
        EXPECT_FALSE(said(u"a"_s));
        told->all.clear();
    }
    EXPECT_TRUE(waitUntil([this] {
        const auto numbers = std::views::iota(std::size_t(0), service.requests().size());
        return std::ranges::none_of(numbers, [this](auto number) { return service.isWaitedFor(number); });
    })) << "the service is told";
    EXPECT_EQ(Deepgram().limit, 60s);
}

TEST_F(DeepgramTest, AStopEndsOneAtOnceAndNoOther) {
    service.holds = true;
    std::stop_source stop;
    ask(u"first"_s, stop.get_token());
    ask(u"second"_s);
    ASSERT_TRUE(waitUntil([this] { return service.requests().size() == 2; }));
    stop.request_stop();
    ASSERT_TRUE(waitUntil([this] { return all().size() == 1; }));
    EXPECT_EQ(all()[0].first, 0);
    EXPECT_FALSE(all()[0].second);
    const auto first = service.textOf(0) == u"first"_s ? 0 : 1;
    EXPECT_TRUE(waitUntil([&] { return !service.isWaitedFor(first); })) << "the service is told";
    service.answer(1 - first);
    ASSERT_TRUE(waitUntil([this] { return all().size() == 2; }));
    EXPECT_TRUE(all()[1].second);
}

TEST_F(DeepgramTest, OneThatWasStoppedBeforeIsNotAsked) {
    std::stop_source stop;
    stop.request_stop();
    ask(u"a"_s, stop.get_token());
    EXPECT_FALSE(answer());
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(DeepgramTest, TwoHundredCallsWaitSideBySideAndInAnyOrder) {
    service.holds = true;
    for (int number = 0; number < 200; ++number)
        ask(QString::number(number));
    ASSERT_TRUE(waitUntil([this] { return service.requests().size() == 200; })) << "nobody waits for anybody";
    EXPECT_TRUE(all().empty());
    for (int number = 199; number >= 0; --number)
        service.answer(static_cast<std::size_t>(number));
    ASSERT_TRUE(waitUntil([this] { return all().size() == 200; }));
    for (const auto &[number, samples] : all()) {
        ASSERT_TRUE(samples) << number;
        EXPECT_EQ(samples->size(), std::to_string(number).size() * 80);
    }
}

TEST_F(DeepgramTest, IsToldElsewhereAndWaitsForNobody) {
    const auto main = QThread::currentThread();
    const auto where = std::make_shared<std::atomic<QThread *>>(nullptr);
    speech.tts(u"a"_s, u"key"_s, u"model"_s, [where](const auto &) { *where = QThread::currentThread(); });
    EXPECT_EQ(service.requests().size(), 0U);
    ASSERT_TRUE(waitUntil([&] { return where->load() != nullptr; }));
    EXPECT_NE(where->load(), main);
}

TEST_F(DeepgramTest, AKeyThatNoHeaderMayHaveIsNotSent) {
    for (const auto &key : {u"a\r\nX: y"_s, u"a\n"_s, u"\u0000a"_s, u"a\u007f"_s}) {
        bool nothing = false;
        speech.tts(u"a"_s, key, u"model"_s, [&](const auto &samples) { nothing = !samples; });
        EXPECT_TRUE(nothing);
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(DeepgramTest, AModelIsAppendedAsItStands) {
    ask(u"a"_s);
    speech.tts(u"a"_s, u"key"_s, u"a%20b+c&d=e"_s, [](const auto &) {});
    ASSERT_TRUE(waitUntil([this] { return service.requests().size() == 2; }));
    EXPECT_TRUE(std::ranges::any_of(service.requests(), [](const auto &request) {
        return request.line().contains("?model=a%20b+c&d=e&encoding=linear16&");
    }));
}

TEST_F(DeepgramTest, AnAuthorityOfTheOwnersIsTrusted) {
    const test::Authority authority;
    SpeechService encrypted(SpeechService::Voice::tones, 0, authority.certify());
    speech.base = encrypted.base();
    EXPECT_FALSE(said(u"a"_s)) << "nobody knows it";
    told->all.clear();
    speech.authority = authority.file();
    EXPECT_TRUE(said(u"a"_s));
}

TEST_F(DeepgramTest, ListensAtTheSameOrigin) {
    constexpr QStringView PATH =
        u"/v1/listen?model=nova-3&encoding=mulaw&sample_rate=8000&channels=1&interim_results=true&endpointing=300&"
        "utterance_end_ms=1000&smart_format=true";
    for (const auto &[base, address] :
         {std::pair(u"https://api.deepgram.com"_s, u"wss://api.deepgram.com"_s),
          std::pair(u"http://localhost:9"_s, u"ws://localhost:9"_s), std::pair(u"HTTP://[::1]:9"_s, u"ws://[::1]:9"_s)})
        EXPECT_EQ(Deepgram{.base = base}.sttURL().toString(QUrl::FullyEncoded), address + PATH.toString());
}
