#include "cloud/AgentClient.h"

#include "base/SerialQueue.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/AccountService.h"
#include "tests/support/Wait.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpServer>

#include <latch>
#include <mutex>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountService;
using test::ChannelFrame;
using test::waitUntil;

namespace {

// Whatever the client tells, kept for the main thread.
struct Told {
    std::mutex mutex;
    std::vector<QJsonObject> messages;
    std::vector<bool> connected;
};

QByteArray textOf(const QJsonObject &message) {
    return QJsonDocument(message).toJson(QJsonDocument::Compact);
}

class AgentClientTest : public testing::Test {
protected:
    ~AgentClientTest() override {
        if (client)
            test::await(client->end());
    }

    void begin() { begin(service.channelURL()); }
    void begin(const QUrl &url) {
        client.emplace(AgentClient::Options{
            .url = url,
            .token = u"tökén"_s,
            .userAgent = "ombru/1 (here; there)",
            .onMessage =
                [told = told](const QJsonObject &message) {
                    const std::lock_guard lock(told->mutex);
                    told->messages.push_back(message);
                },
            .onConnected =
                [told = told](bool open) {
                    const std::lock_guard lock(told->mutex);
                    told->connected.push_back(open);
                },
        });
        client->start();
    }
    void open() {
        begin();
        ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 1; }));
    }
    std::vector<bool> connected() const {
        const std::lock_guard lock(told->mutex);
        return told->connected;
    }
    std::vector<QJsonObject> messages() const {
        const std::lock_guard lock(told->mutex);
        return told->messages;
    }
    bool drops(std::size_t count) const {
        return waitUntil([&] { return std::ranges::count(connected(), false) == static_cast<std::ptrdiff_t>(count); });
    }
    bool attempts(std::size_t count) {
        return waitUntil([&] { return service.channels.size() == count; });
    }
    // What an open client did before has arrived, and so have the timers that were due.
    void catchUp() {
        const auto before = service.frameCount();
        client->send([] { return textOf(QJsonObject()); });
        ASSERT_TRUE(waitUntil([&] { return service.frameCount() > before && isMark(service.newest().frames.back()); }));
        service.newest().frames.pop_back();
    }
    static bool isMark(const ChannelFrame &frame) { return frame == ChannelFrame{1, "{}"}; }
    static void settle() {
        for (int turn = 0; turn < 20; ++turn)
            test::settle();
    }

    AccountService service;
    std::shared_ptr<Told> told = std::make_shared<Told>();
    std::optional<AgentClient> client;
};

const ChannelFrame HELLO{1, R"({"type":"hello"})"};

} // namespace

TEST_F(AgentClientTest, ShowsItsTokenInTheHeadAndSaysHelloFirst) {
    open();
    const auto &head = service.newest().request.head;
    EXPECT_TRUE(head.startsWith("GET /agent?x=1 HTTP/1.1\r\n")) << head.toStdString();
    EXPECT_TRUE(head.contains("\r\nAuthorization: Bearer tökén")) << head.toStdString();
    EXPECT_TRUE(head.contains("\r\nUser-Agent: ombru/1 (here; there)")) << head.toStdString();
    EXPECT_EQ(service.newest().frames[0], HELLO);
    EXPECT_EQ(connected(), std::vector{true});
}

TEST_F(AgentClientTest, SendsObjectsAsTextAndSoundAsItIs) {
    open();
    client->send([] { return textOf(QJsonObject{{u"type"_s, u"event"_s}, {u"text"_s, u"ä\n\"🔈\""_s}}); });
    client->sendAudio(QByteArray("\0\x01\xff", 3));
    client->sendAudio(QByteArray());
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 4; }));
    const auto &frames = service.newest().frames;
    EXPECT_EQ(frames[1], (ChannelFrame{1, R"({"text":"ä\n\"🔈\"","type":"event"})"}));
    EXPECT_EQ(frames[2], (ChannelFrame{2, QByteArray("\0\x01\xff", 3)}));
    EXPECT_EQ(frames[3], (ChannelFrame{2, {}}));
}

TEST_F(AgentClientTest, ALongMessageIsOneFrame) {
    open();
    client->send([] { return textOf(QJsonObject{{u"text"_s, QString(3'000'000, u'x')}}); });
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
    EXPECT_EQ(service.newest().frames[1].opcode, 1);
    EXPECT_TRUE(service.newest().frames[1].last);
    EXPECT_EQ(service.newest().frames[1].payload.size(), 3'000'000 + 11);
}

TEST_F(AgentClientTest, WhatComesAfterTheHelloGoesOutInItsOrder) {
    begin();
    ASSERT_TRUE(waitUntil([this] { return !connected().empty(); })) << "the hello may be on its way";
    QByteArrayList sent;
    for (int number = 0; number < 50; ++number) {
        const auto text = QString(number % 10 == 5 ? 300'000 : 3, u'x') + QString::number(number);
        if (number % 7 == 3) {
            client->sendAudio(text.toUtf8());
            sent.append(text.toUtf8());
        } else {
            client->send([text] { return textOf(QJsonObject{{u"t"_s, text}}); });
            sent.append(R"({"t":")" + text.toUtf8() + R"("})");
        }
    }
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 51; }));
    EXPECT_EQ(service.newest().frames[0], HELLO);
    for (std::size_t number = 0; number < 50; ++number)
        EXPECT_EQ(service.newest().frames[number + 1].payload, sent[static_cast<qsizetype>(number)]) << number;
}

TEST_F(AgentClientTest, ABriefMessageIsMadeAndWrittenByWhoeverSendsIt) {
    open();
    bool mine = false;
    const auto maker = [&, here = std::this_thread::get_id()] {
        mine = std::this_thread::get_id() == here;
        return QByteArray(R"({"brief":true})");
    };
    ASSERT_TRUE(waitUntil([&] { // the connection has told of itself before it may be written to
        client->send(maker, AgentClient::Length::brief);
        return mine;
    }));
    EXPECT_TRUE(waitUntil([&] { return service.newest().frames.back().payload == R"({"brief":true})"; }));
}

TEST_F(AgentClientTest, ABriefMessageWaitsBehindALengthyOne) {
    open();
    std::latch begun(1);
    std::latch made(1);
    client->send([&] {
        begun.count_down();
        made.wait();
        return QByteArray(R"({"n":1})");
    });
    begun.wait();
    client->send([] { return QByteArray(R"({"n":2})"); }, AgentClient::Length::brief);
    client->sendAudio("3");
    client->send([] { return QByteArray(R"({"n":4})"); }, AgentClient::Length::brief);
    made.count_down();
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 5; }));
    const std::vector<ChannelFrame> expected{HELLO, {1, R"({"n":1})"}, {1, R"({"n":2})"}, {2, "3"}, {1, R"({"n":4})"}};
    EXPECT_EQ(service.newest().frames, expected);
}

TEST_F(AgentClientTest, AMessageThatTakesLongToMakeHoldsUpNoQueueOfACall) {
    open();
    std::latch begun(1);
    std::latch made(1);
    client->send([&] {
        begun.count_down();
        made.wait();
        return textOf(QJsonObject{{u"made"_s, true}});
    });
    begun.wait();
    std::vector<std::unique_ptr<SerialQueue>> calls;
    std::atomic<std::size_t> ran = 0;
    for (int number = 0; number < 6; ++number)
        calls.emplace_back(std::make_unique<SerialQueue>("ombru.call"))->post([&ran] { ++ran; });
    EXPECT_TRUE(waitUntil([&] { return ran == calls.size(); }));
    made.count_down();
    EXPECT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
}

TEST_F(AgentClientTest, TellsTheObjectsThatComeInAndIgnoresTheRest) {
    open();
    for (const auto *text :
         {R"({"type":"task","text":"go"})", "", "no json", "[1]", "7", "\"text\"", "null", "{\"cut\":", R"({"n":1})"})
        service.newest().sendText(text);
    service.newest().send({2, R"({"binary":1})"});
    service.newest().send({1, R"({"n")", false});
    service.newest().send({0, R"(:2})", true});
    ASSERT_TRUE(waitUntil([this] { return messages().size() == 3; }));
    EXPECT_EQ(messages()[0], (QJsonObject{{u"type"_s, u"task"_s}, {u"text"_s, u"go"_s}}));
    EXPECT_EQ(messages()[1], (QJsonObject{{u"n"_s, 1}}));
    EXPECT_EQ(messages()[2], (QJsonObject{{u"n"_s, 2}})) << "in two frames";
    EXPECT_EQ(connected(), std::vector{true}) << "it stays open";
}

TEST_F(AgentClientTest, WhatIsSentWithoutAConnectionIsGone) {
    ManualClock clock;
    service.manner = AccountService::Manner::hangsUp;
    begin();
    ASSERT_TRUE(drops(1));
    client->send([] { return textOf(QJsonObject{{u"lost"_s, true}}); });
    client->sendAudio("lost");
    service.manner = AccountService::Manner::answers;
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 1; }));
    client->send([] { return textOf(QJsonObject{{u"kept"_s, true}}); });
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
    EXPECT_EQ(service.newest().frames, (std::vector{HELLO, ChannelFrame{1, R"({"kept":true})"}}));
}

TEST_F(AgentClientTest, ComesBackLaterEachTimeAndSoonAgainAfterAnOpening) {
    ManualClock clock;
    service.manner = AccountService::Manner::hangsUp;
    begin();
    std::size_t drop = 0;
    for (const auto delay : {1s, 2s, 4s, 8s, 16s, 30s, 30s}) {
        ASSERT_TRUE(drops(++drop));
        EXPECT_EQ(service.channels.size(), drop);
        clock.advance(delay - 1ns);
        settle();
        EXPECT_EQ(service.channels.size(), drop) << "not before " << delay.count() << " s";
        clock.advance(1ns);
        ASSERT_TRUE(attempts(drop + 1));
    }
    ASSERT_TRUE(drops(++drop));
    service.manner = AccountService::Manner::answers;
    clock.advance(30s);
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 1; }));
    service.newest().hangUp();
    ASSERT_TRUE(drops(++drop));
    clock.advance(1s);
    ASSERT_TRUE(attempts(drop + 1));
}

TEST_F(AgentClientTest, ACloseOfTheServicesIsALossLikeAnyOther) {
    ManualClock clock;
    open();
    service.newest().send({8, "\x03\xe8"});
    ASSERT_TRUE(drops(1));
    clock.advance(1s);
    ASSERT_TRUE(attempts(2));
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 1; }));
    EXPECT_EQ(service.newest().frames[0], HELLO) << "it says hello each time";
    EXPECT_EQ(connected(), (std::vector{true, false, true}));
}

TEST_F(AgentClientTest, GivesUpAnOpeningThatIsNotAnswered) {
    ManualClock clock;
    service.manner = AccountService::Manner::stalls;
    begin();
    ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
    clock.advance(59s);
    settle();
    EXPECT_TRUE(connected().empty());
    clock.advance(1s);
    ASSERT_TRUE(drops(1));
    EXPECT_TRUE(waitUntil([this] { return service.newest().gone; }));
    clock.advance(1s);
    EXPECT_TRUE(attempts(2));
}

TEST_F(AgentClientTest, APortOnWhichNobodyListensIsALoss) {
    ManualClock clock;
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const auto port = probe.serverPort();
    probe.close();
    begin(QUrl(u"ws://127.0.0.1:%1/agent"_s.arg(port)));
    ASSERT_TRUE(drops(1));
    clock.advance(1s);
    ASSERT_TRUE(drops(2));
    const AccountService late({}, port);
    clock.advance(2s);
    EXPECT_TRUE(waitUntil([&] { return late.frameCount() == 1; }));
    EXPECT_EQ(connected(), (std::vector{false, false, true}));
}

TEST_F(AgentClientTest, ARefusedHandshakeIsALoss) {
    ManualClock clock;
    service.manner = AccountService::Manner::stalls;
    begin();
    ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
    service.newest().socket->write("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n");
    ASSERT_TRUE(drops(1));
    service.manner = AccountService::Manner::answers;
    clock.advance(1s);
    EXPECT_TRUE(attempts(2));
}

TEST_F(AgentClientTest, WhyThereIsNoChannelIsLoggedOnceForEachReason) {
    FakePlatform::reset();
    ManualClock clock;
    service.manner = AccountService::Manner::stalls;
    begin();
    std::size_t attempt = 0;
    for (const QByteArray answer : {"401 tökén is wrong", "401 tökén is wrong", "503 Busy"}) {
        ASSERT_TRUE(attempts(++attempt));
        service.newest().socket->write("HTTP/1.1 " + answer + "\r\nContent-Length: 0\r\n\r\n");
        ASSERT_TRUE(drops(attempt));
        clock.advance(30s);
    }
    test::await(client->end());
    QStringList logged;
    for (const auto &entry : FakePlatform::instance().logged)
        logged.append(entry.text);
    const auto before = u"no channel to 127.0.0.1: the handshake was answered with ’HTTP/1.1 "_s;
    EXPECT_EQ(logged, (QStringList{before + u"401 … is wrong’"_s, before + u"503 Busy’"_s}));
}

TEST_F(AgentClientTest, PingsWhileItIsOpen) {
    ManualClock clock;
    open();
    clock.advance(24s);
    catchUp();
    EXPECT_EQ(service.frameCount(), 1U);
    for (std::size_t pings = 1; pings <= 2; ++pings) {
        clock.advance(pings == 1 ? 1s : 25s);
        ASSERT_TRUE(waitUntil([&] { return service.frameCount() == 1 + pings; }));
        EXPECT_EQ(service.newest().frames.back().opcode, 9);
    }
    service.newest().hangUp();
    ASSERT_TRUE(drops(1));
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([&] { return service.channels.size() == 2 && service.frameCount() == 1; }));
    clock.advance(25s);
    ASSERT_TRUE(waitUntil([&] { return service.frameCount() == 2; }));
    catchUp();
    EXPECT_EQ(service.frameCount(), 2U) << "the earlier connection's pings have ended";
}

TEST_F(AgentClientTest, AStopSaysGoodbyeAndIsFinal) {
    ManualClock clock;
    open();
    client->send([] { return textOf(QJsonObject{{u"last"_s, true}}); });
    client->stop();
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 3; }));
    EXPECT_EQ(service.newest().frames[1].payload, R"({"last":true})") << "what was sent before still goes";
    EXPECT_EQ(service.newest().frames[2], (ChannelFrame{8, "\x03\xe9"})) << "1001";
    service.newest().send({8, "\x03\xe9"});
    ASSERT_TRUE(drops(1));
    clock.advance(60s);
    client->start();
    settle();
    EXPECT_EQ(service.channels.size(), 1U);
}

TEST_F(AgentClientTest, AStopWhileItWaitsToComeBackEndsThat) {
    ManualClock clock;
    service.manner = AccountService::Manner::hangsUp;
    begin();
    ASSERT_TRUE(drops(1));
    test::await(client->end());
    clock.advance(60s);
    settle();
    EXPECT_EQ(service.channels.size(), 1U);
}

TEST_F(AgentClientTest, TheEndWaitsAMomentOnlyForAServiceThatDoesNotRead) {
    ManualClock clock;
    open();
    service.newest().socket->setReadBufferSize(1000);
    client->send([] { return textOf(QJsonObject{{u"text"_s, QString(30'000'000, u'x')}}); });
    const auto over = std::make_shared<bool>(false);
    const auto ending = test::mark(client->end(), over);
    settle();
    EXPECT_FALSE(*over);
    // The goodbye may not have begun: making a long message takes its time.
    EXPECT_TRUE(waitUntil([&] {
        clock.advance(1s);
        return *over;
    }));
    EXPECT_EQ(service.frameCount(), 1U);
}

TEST_F(AgentClientTest, OneThatIsDroppedSaysGoodbyeToo) {
    open();
    client.reset();
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
    EXPECT_EQ(service.newest().frames[1], (ChannelFrame{8, "\x03\xe9"}));
}

TEST_F(AgentClientTest, AMessagePastTheLimitCostsTheConnectionAndNoMemory) {
    ManualClock clock;
    open();
    auto &socket = *service.newest().socket;
    socket.write(QByteArray("\x81\x7f\x00\x00\x00\x7f\xff\xff\xff\xff", 10) + QByteArray(1000, 'x'));
    ASSERT_TRUE(drops(1));
    EXPECT_TRUE(messages().empty());
    clock.advance(1s);
    EXPECT_TRUE(attempts(2));
}
