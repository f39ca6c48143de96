#include "net/WebSocketClient.h"

#include "base/Background.h"
#include "tests/support/AccountService.h"
#include "tests/support/Certificates.h"
#include "tests/support/Proxy.h"
#include "tests/support/Variable.h"
#include "tests/support/Wait.h"

#include <mutex>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::AccountService;
using test::ChannelFrame;
using test::waitUntil;

namespace {

// What a client tells, kept for the main thread.
struct Told {
    std::mutex mutex;
    int opened = 0;
    QByteArrayList texts;
    std::vector<WebSocketEnd> ends;
};

class WebSocketClientTest : public testing::Test {
protected:
    ~WebSocketClientTest() override {
        onQueue([](WebSocketClient &its) { its.abandon(); });
    }

    void begin(QUrl url, QByteArrayList headers = {}) {
        client = queue->make<WebSocketClient>(
            queue,
            WebSocketClient::Options{
                .url = std::move(url),
                .headers = std::move(headers),
                .authority = authority,
                .largestMessage = LARGEST,
                .onOpen = [this] { tell([](Told &all) { ++all.opened; }); },
                .onText =
                    [this](QByteArrayView text) { tell([text](Told &all) { all.texts.append(text.toByteArray()); }); },
                .onEnd = [this](const WebSocketEnd &end) { tell([&end](Told &all) { all.ends.push_back(end); }); }});
        onQueue([](WebSocketClient &its) { its.open(); });
    }
    void begin() { begin(service.channelURL()); }
    void open() {
        begin();
        ASSERT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 1; }));
    }
    // The service says that in place of the right answer.
    void answered(const QByteArray &answer) {
        service.manner = AccountService::Manner::stalls;
        begin();
        ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
        service.newest().socket->write(answer);
        service.newest().socket->flush();
    }
    QByteArray acceptance() { return webSocketAcceptance(service.newest().request.header("Sec-WebSocket-Key")); }

    template <class Job>
    void onQueue(Job job) {
        const auto done = std::make_shared<std::atomic<bool>>(false);
        queue->post([this, job, done] {
            if (client)
                job(*client);
            *done = true;
        });
        ASSERT_TRUE(waitUntil([&] { return done->load(); }));
    }
    template <class What>
    void tell(What what) {
        const std::lock_guard lock(all.mutex);
        what(all);
    }
    template <class T>
    T told(T Told::*what) {
        const std::lock_guard lock(all.mutex);
        return all.*what;
    }
    // How it ended.
    WebSocketEnd ended() {
        EXPECT_TRUE(waitUntil([this] { return !told(&Told::ends).empty(); }));
        const auto ends = told(&Told::ends);
        return ends.size() == 1 ? ends[0] : WebSocketEnd{.reason = u"not once"_s};
    }
    bool hears(const ChannelFrame &frame) {
        return waitUntil(
            [&] { return std::ranges::find(service.newest().frames, frame) != service.newest().frames.end(); });
    }
    static ChannelFrame closing(int code) {
        return {8, QByteArray(1, static_cast<char>(code >> 8)) + static_cast<char>(code & 0xFF)};
    }

    // While the queue stands still, and `meanwhile` has been done here, `job` runs there.
    template <class Job>
    void onQueueAfter(const std::function<void()> &meanwhile, Job job) {
        const auto goesOn = std::make_shared<std::atomic<bool>>(false);
        const auto done = std::make_shared<std::atomic<bool>>(false);
        queue->post([this, job, goesOn, done] {
            while (!*goesOn)
                std::this_thread::yield();
            job(*client);
            *done = true;
        });
        meanwhile();
        *goesOn = true;
        ASSERT_TRUE(waitUntil([&] { return done->load(); }));
    }
    // What was written has arrived, or is on its way.
    static void deliver(QTcpSocket &socket) {
        while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten())
            continue;
    }

    static constexpr std::uint64_t LARGEST = 100'000;
    QString authority;
    AccountService service;
    Told all;
    std::shared_ptr<SerialQueue> queue = std::make_shared<SerialQueue>("test");
    std::shared_ptr<WebSocketClient> client;
};

} // namespace

TEST_F(WebSocketClientTest, AsksForAnUpgradeWithWhatItWasGiven) {
    auto url = service.channelURL();
    url.setPath(u"/a b//c"_s);
    url.setQuery(u"q=1&r=%20"_s);
    begin(url, {"One: 1", "Two: z"});
    ASSERT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 1; }));
    const auto &request = service.newest().request;
    EXPECT_EQ(request.line(), "GET /a%20b//c?q=1&r=%20 HTTP/1.1");
    EXPECT_EQ(request.header("Host"), "127.0.0.1:" + QByteArray::number(service.port()));
    EXPECT_EQ(request.header("Sec-WebSocket-Version"), "13");
    EXPECT_EQ(request.header("One"), "1");
    EXPECT_EQ(request.header("Two"), "z");
    EXPECT_EQ(QByteArray::fromBase64(request.header("Sec-WebSocket-Key")).size(), 16);
}

TEST_F(WebSocketClientTest, EachHandshakeHasAKeyOfItsOwn) {
    open();
    const auto first = service.newest().request.header("Sec-WebSocket-Key");
    onQueue([](WebSocketClient &its) { its.abandon(); });
    begin();
    ASSERT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 2; }));
    EXPECT_NE(service.newest().request.header("Sec-WebSocket-Key"), first);
}

TEST_F(WebSocketClientTest, AHeaderOfSeveralLinesIsNotSent) {
    begin(service.channelURL(), {"Authorization: Bearer a\r\nOther: b"});
    EXPECT_EQ(ended().reason, u"a header of the handshake has more than one line"_s);
    EXPECT_TRUE(service.channels.empty());
}

TEST_F(WebSocketClientTest, AnotherAnswerIsTold) {
    answered("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(ended().reason, u"the handshake was answered with \"HTTP/1.1 403 Forbidden\""_s);
}

TEST_F(WebSocketClientTest, AnAnswerToSomebodyElsesKeyIsNone) {
    answered("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
             "Sec-WebSocket-Accept: " +
             webSocketAcceptance("another") + "\r\n\r\n");
    EXPECT_EQ(ended().reason, u"what answered the handshake is no WebSocket server"_s);
    EXPECT_EQ(told<int>(&Told::opened), 0);
}

TEST_F(WebSocketClientTest, AnAnswerThatUpgradesToNothingIsNone) {
    service.manner = AccountService::Manner::stalls;
    begin();
    ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
    service.newest().socket->write("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nSec-WebSocket-Accept: " +
                                   acceptance() + "\r\n\r\n");
    EXPECT_EQ(ended().reason, u"what answered the handshake is no WebSocket server"_s);
}

TEST_F(WebSocketClientTest, AnAnswerWithoutAnEndIsGivenUp) {
    answered("HTTP/1.1 101 Switching Protocols\r\nX: " + QByteArray(20'000, 'x'));
    EXPECT_EQ(ended().reason, u"the answer to the handshake has no end"_s);
}

TEST_F(WebSocketClientTest, AnAnswerThatIsCutOffIsALoss) {
    answered("HTTP/1.1 101 Switching Pro");
    service.newest().socket->disconnectFromHost();
    EXPECT_EQ(ended().reason, u"The remote host closed the connection"_s);
}

TEST_F(WebSocketClientTest, WhatComesRightBehindTheAnswerIsRead) {
    service.manner = AccountService::Manner::stalls;
    begin();
    ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
    service.newest().socket->write("HTTP/1.1 101 Switching Protocols\r\nupgrade: WebSocket\r\n"
                                   "CONNECTION: keep-alive, upgrade\r\nsec-websocket-accept: " +
                                   acceptance() + "\r\n\r\n\x81\x02hi");
    ASSERT_TRUE(waitUntil([this] { return !told(&Told::texts).isEmpty(); }));
    EXPECT_EQ(told(&Told::texts), QByteArrayList{"hi"});
}

TEST_F(WebSocketClientTest, FramesGoBothWays) {
    open();
    const QByteArray large(70'000, 'x');
    for (const auto &text : {QByteArray("ä"), QByteArray(), QByteArray(126, 'y'), large})
        onQueue([text](WebSocketClient &its) { its.send(Opcode::text, text); });
    ASSERT_TRUE(hears({1, large}));
    EXPECT_EQ(service.newest().frames,
              (std::vector<ChannelFrame>{{1, "ä"}, {1, {}}, {1, QByteArray(126, 'y')}, {1, large}}));
    service.newest().sendText(large);
    ASSERT_TRUE(waitUntil([this] { return !told(&Told::texts).isEmpty(); }));
    EXPECT_EQ(told(&Told::texts), QByteArrayList{large});
}

TEST_F(WebSocketClientTest, APingIsAnsweredAlsoInTheMiddleOfAMessage) {
    open();
    service.newest().send({1, "one ", false});
    service.newest().send({9, "there?"});
    service.newest().send({10, "a pong that nobody asked for"});
    service.newest().send({0, "message", true});
    ASSERT_TRUE(waitUntil([this] { return !told(&Told::texts).isEmpty(); }));
    EXPECT_EQ(told(&Told::texts), QByteArrayList{"one message"});
    EXPECT_TRUE(hears({10, "there?"}));
}

TEST_F(WebSocketClientTest, BinaryMessagesAreNotTold) {
    open();
    service.newest().send({2, "bin", false});
    service.newest().send({0, "ary"});
    service.newest().sendText("text");
    ASSERT_TRUE(waitUntil([this] { return !told(&Told::texts).isEmpty(); }));
    EXPECT_EQ(told(&Told::texts), QByteArrayList{"text"});
}

TEST_F(WebSocketClientTest, AMessageWithoutABeginningEndsIt) {
    open();
    service.newest().send({0, "rest"});
    EXPECT_EQ(ended().reason, u"the frames of a message were mixed up"_s);
    EXPECT_TRUE(hears(closing(1002)));
}

TEST_F(WebSocketClientTest, AMessageInTheMiddleOfAnotherEndsIt) {
    open();
    service.newest().send({1, "one", false});
    service.newest().send({1, "two"});
    EXPECT_EQ(ended().reason, u"the frames of a message were mixed up"_s);
    EXPECT_TRUE(hears(closing(1002)));
}

TEST_F(WebSocketClientTest, AControlFrameInPartsOrTooLongEndsIt) {
    open();
    service.newest().send({9, QByteArray(126, 'x')});
    EXPECT_EQ(ended().reason, u"a control frame was in parts, or too long"_s);
    EXPECT_TRUE(hears(closing(1002)));
}

TEST_F(WebSocketClientTest, AFrameOfAnUnknownKindEndsIt) {
    open();
    service.newest().send({3, "?"});
    EXPECT_EQ(ended().reason, u"a frame of an unknown kind came"_s);
    EXPECT_TRUE(hears(closing(1002)));
}

TEST_F(WebSocketClientTest, ATextThatIsNoUtf8EndsIt) {
    open();
    service.newest().sendText("\xC3\x28");
    EXPECT_EQ(ended().reason, u"a text came that is no UTF-8"_s);
    EXPECT_TRUE(hears(closing(1007)));
    EXPECT_TRUE(told(&Told::texts).isEmpty());
}

TEST_F(WebSocketClientTest, AMessageThatIsTooLargeInItsPartsEndsIt) {
    open();
    service.newest().send({1, QByteArray(60'000, 'x'), false});
    service.newest().send({0, QByteArray(60'000, 'x')});
    EXPECT_EQ(ended().reason, u"a message was too large"_s);
    EXPECT_TRUE(hears(closing(1009)));
}

TEST_F(WebSocketClientTest, AFrameThatAnnouncesTooMuchIsNotWaitedFor) {
    open();
    service.newest().socket->write(QByteArray("\x81\x7f\x00\x00\x00\x00\x00\x01\x86\xa1", 10)); // a byte too many
    service.newest().socket->flush();
    EXPECT_TRUE(ended().reason.startsWith(u"A frame of more than"_s));
    EXPECT_TRUE(hears(closing(1009)));
}

TEST_F(WebSocketClientTest, ACloseIsAnsweredAndToldWithItsReason) {
    open();
    service.newest().send({8, closing(1011).payload + "no ünit"});
    const auto end = ended();
    EXPECT_EQ(end.code, 1011);
    EXPECT_EQ(end.reason, u"no ünit"_s);
    EXPECT_TRUE(hears(closing(1011)));
    onQueue([](WebSocketClient &its) { its.send(Opcode::text, "late"); });
    EXPECT_TRUE(waitUntil([this] { return service.newest().gone; }));
    EXPECT_EQ(service.newest().frames.size(), 1U);
}

TEST_F(WebSocketClientTest, ACloseWithoutACodeIsToldAsSuch) {
    open();
    service.newest().send({8, {}});
    EXPECT_EQ(ended().code, 1005);
    EXPECT_TRUE(hears({8, {}}));
}

TEST_F(WebSocketClientTest, ClosingSendsWhatIsLeftAndIsThenOver) {
    open();
    onQueue([](WebSocketClient &its) {
        its.send(Opcode::text, QByteArray(1'000'000, 'x'));
        its.close(CLOSE_NORMAL);
        its.close(CLOSE_NORMAL);
        its.send(Opcode::text, "late");
    });
    EXPECT_EQ(ended().code, std::nullopt);
    EXPECT_TRUE(waitUntil([this] { return service.newest().gone; }));
    EXPECT_EQ(service.newest().frames, (std::vector<ChannelFrame>{{1, QByteArray(1'000'000, 'x')}, closing(1000)}));
}

TEST_F(WebSocketClientTest, AnybodyMaySendWithoutWaitingForTheQueue) {
    open();
    EXPECT_TRUE(client->sendsDirectly());
    std::atomic<bool> goesOn = false;
    queue->post([&] {
        while (!goesOn)
            std::this_thread::yield();
    });
    client->send(Opcode::text, "one");
    client->send(Opcode::binary, "two");
    EXPECT_TRUE(hears({2, "two"}));
    EXPECT_EQ(service.newest().frames, (std::vector<ChannelFrame>{{1, "one"}, {2, "two"}}));
    goesOn = true;
    onQueue([](WebSocketClient & /*its*/) {}); // it has seen that
}

TEST_F(WebSocketClientTest, MessagesOfSeveralThreadsAreWhole) {
    constexpr int EACH = 200;
    open();
    std::vector<std::jthread> threads;
    for (const char letter : {'a', 'b', 'c'})
        threads.emplace_back([this, letter] {
            for (int number = 0; number < EACH; ++number)
                client->send(Opcode::text, QByteArray(3000, letter));
        });
    ASSERT_TRUE(waitUntil([this] { return service.frameCount() == 3 * EACH; }));
    for (const auto &frame : service.newest().frames)
        ASSERT_EQ(frame, (ChannelFrame{1, QByteArray(3000, frame.payload[0])}));
}

TEST_F(WebSocketClientTest, AnswersInSeveralHeadersOfANameAreOne) {
    service.manner = AccountService::Manner::stalls;
    begin();
    ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
    service.newest().socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                   "Connection: keep-alive\r\nSec-WebSocket-Accept: " +
                                   acceptance() + "\r\n\r\n");
    EXPECT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 1; }));
}

TEST_F(WebSocketClientTest, AnAnswerWithoutHeadersIsToldAsWell) {
    answered("HTTP/1.1 403 Forbidden\r\n\r\n");
    EXPECT_EQ(ended().reason, u"the handshake was answered with \"HTTP/1.1 403 Forbidden\""_s);
}

TEST_F(WebSocketClientTest, AnExtensionThatNobodyAskedForIsRefused) {
    service.manner = AccountService::Manner::stalls;
    begin();
    ASSERT_TRUE(waitUntil([this] { return !service.channels.empty(); }));
    service.newest().socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                   "Sec-WebSocket-Extensions: permessage-deflate\r\nSec-WebSocket-Accept: " +
                                   acceptance() + "\r\n\r\n");
    EXPECT_EQ(ended().reason, u"the handshake was answered with what nobody asked for"_s);
}

TEST_F(WebSocketClientTest, AFrameWithReservedBitsEndsIt) {
    open();
    service.newest().socket->write("\xc1\x02hi");
    EXPECT_EQ(ended().reason, u"a frame came that no server may send"_s);
    EXPECT_TRUE(hears(closing(1002)));
    EXPECT_TRUE(told(&Told::texts).isEmpty());
}

TEST_F(WebSocketClientTest, AMaskedFrameEndsIt) {
    open();
    service.newest().socket->write(QByteArray("\x81\x82\0\0\0\0hi", 8));
    EXPECT_EQ(ended().reason, u"a frame came that no server may send"_s);
    EXPECT_TRUE(hears(closing(1002)));
}

TEST_F(WebSocketClientTest, ACloseWithACodeThatIsNoneIsNotRepeated) {
    for (const int code : {0, 999, 1004, 1005, 1006, 1015, 2999, 5000}) {
        tell([](Told &all) {
            all.opened = 0;
            all.ends.clear();
        });
        open();
        service.newest().send(closing(code));
        EXPECT_EQ(ended().reason, u"it was closed there without a reason that there is"_s) << code;
        EXPECT_TRUE(hears(closing(1002))) << code;
    }
}

TEST_F(WebSocketClientTest, ACloseOfOneByteIsNone) {
    open();
    service.newest().send({8, "x"});
    EXPECT_TRUE(hears(closing(1002)));
}

TEST_F(WebSocketClientTest, ACloseForAReasonThatIsNoUtf8IsNone) {
    open();
    service.newest().send({8, closing(1000).payload + "\xC3\x28"});
    EXPECT_EQ(ended().reason, u"a text came that is no UTF-8"_s);
    EXPECT_TRUE(hears(closing(1007)));
}

TEST_F(WebSocketClientTest, PingsAreNotAnsweredWhileTheAnswersAreNotRead) {
    constexpr int MANY = 400'000;
    open();
    service.newest().socket->setReadBufferSize(1);
    service.newest().socket->write(QByteArray("\x89\x7d" + QByteArray(125, 'p')).repeated(MANY) + "\x81\x02hi");
    ASSERT_TRUE(waitUntil([this] { return !told(&Told::texts).isEmpty(); }));
    qint64 unsent = 0;
    onQueue([&unsent](WebSocketClient &its) { unsent = its.unsent(); });
    EXPECT_GT(unsent, 0);
    EXPECT_LT(unsent, 2 << 20);
}

TEST_F(WebSocketClientTest, NothingIsToldInTheMiddleOfASend) {
    const test::Authority own;
    authority = own.file();
    AccountService encrypted(own.certify());
    begin(encrypted.channelURL());
    ASSERT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 1; }));
    EXPECT_FALSE(client->sendsDirectly());
    onQueueAfter(
        [&] {
            for (int number = 0; number < 1000; ++number)
                encrypted.newest().sendText("hi");
            deliver(*encrypted.newest().socket);
        },
        [this](WebSocketClient &its) {
            for (int number = 0; number < 10; ++number)
                its.send(Opcode::text, "out");
            EXPECT_TRUE(told(&Told::texts).isEmpty());
        });
    EXPECT_TRUE(waitUntil([this] { return told(&Told::texts).size() == 1000; }));
    onQueueAfter([&] { encrypted.newest().hangUp(); },
                 [this](WebSocketClient &its) {
                     for (int number = 0; number < 10; ++number)
                         its.send(Opcode::text, "out");
                     EXPECT_TRUE(told(&Told::ends).empty());
                 });
    EXPECT_FALSE(ended().reason.isEmpty());
}

TEST_F(WebSocketClientTest, WhatComesBehindACloseIsNotTold) {
    const test::Authority own;
    authority = own.file();
    AccountService encrypted(own.certify());
    begin(encrypted.channelURL());
    ASSERT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 1; }));
    onQueueAfter(
        [&] {
            auto &channel = encrypted.newest();
            channel.send({8, closing(1000).payload + QByteArray(100, 'r')});
            for (int number = 0; number < 10'000; ++number)
                channel.sendText("late");
            deliver(*channel.socket);
        },
        [](WebSocketClient & /*its*/) {});
    EXPECT_EQ(ended().reason, QString(100, u'r'));
    onQueue([](WebSocketClient & /*its*/) {});
    EXPECT_TRUE(told(&Told::texts).isEmpty());
}

TEST_F(WebSocketClientTest, WhatWaitsBehindAProxyCounts) {
    const test::Proxy proxy(service.port());
    const test::Variable named("http_proxy", proxy.address());
    begin(QUrl(u"ws://service.invalid/agent"_s));
    ASSERT_TRUE(waitUntil([this] { return told<int>(&Told::opened) == 1; }));
    EXPECT_FALSE(client->sendsDirectly());
    qint64 unsent = 0;
    onQueue([&unsent](WebSocketClient &its) {
        its.send(Opcode::binary, QByteArray(64 << 20, 'x'));
        unsent = its.unsent();
    });
    EXPECT_GT(unsent, 1 << 20);
}

TEST_F(WebSocketClientTest, AHostThatIsUnknownIsALoss) {
    begin(QUrl(u"ws://nowhere.invalid/"_s));
    EXPECT_FALSE(ended().reason.isEmpty());
}
