#include "voice/TextChannel.h"

#include "tests/support/TcpPeer.h"
#include "voice/Inbox.h"
#include "voice/WSConnection.h"
#include "voice/WSServer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QWebSocket>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::masked;
using test::TcpPeer;
using test::waitUntil;

namespace {

class TextChannelTest : public testing::Test {
protected:
    TextChannelTest()
        : server({.port = 0, .token = u"token"_s, .onConnection = [this](const std::shared_ptr<WSConnection> &ws) {
                      Loop::main().post([this, ws, inbox = Inbox::of(ws)] {
                          serveTexts(ws, *inbox, [this](const TextRequest &request) {
                              Loop::main().post([this, request] { requests.push_back(request); });
                          });
                      });
                  }}) {
        server.start();
        EXPECT_TRUE(waitUntil([this] { return server.port() != 0; }));
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket, [this](const QString &text) {
            replies.push_back(QJsonDocument::fromJson(text.toUtf8()).object());
        });
        socket.open(QUrl(u"ws://127.0.0.1:%1/?token=token"_s.arg(server.port())));
        EXPECT_TRUE(waitUntil([this] { return socket.state() == QAbstractSocket::ConnectedState; }));
    }
    void send(const QString &text) { socket.sendTextMessage(text); }
    bool asked(std::size_t times) {
        return waitUntil([&] { return requests.size() == times; });
    }
    bool replied(std::size_t times) {
        return waitUntil([&] { return replies.size() == times; });
    }

    // Of a peer that the server lets in while the main thread waits for it.
    void enter(TcpPeer &peer) {
        peer.connect(server.port());
        peer.write("GET /?token=token HTTP/1.1\r\nUpgrade: websocket\r\nSec-WebSocket-Key: x\r\n\r\n");
        EXPECT_TRUE(peer.read(129).startsWith("HTTP/1.1 101 "));
    }
    static QByteArray requestOf(qsizetype size) {
        return masked(Opcode::text, R"({"text": ")" + QByteArray(size, 'x') + R"("})");
    }
    // What comes when more is said than may wait, in pieces.
    static QByteArray answerToTooMuch(TcpPeer &peer) {
        for (int piece = 0; piece < 5; ++piece)
            peer.write(requestOf(1 << 20));
        return peer.readToEnd();
    }
    static inline const QByteArray GOODBYE = QByteArray::fromHex("880203e8");

    WSServer server;
    QWebSocket socket;
    std::vector<TextRequest> requests;
    std::vector<QJsonObject> replies;
};

} // namespace

TEST_F(TextChannelTest, ARequestIsAnsweredWithItsID) {
    send(uR"({"id": 7, "text": "open the editor", "from": "Ann", "session": "s"})"_s);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(requests[0].text, u"open the editor"_s);
    EXPECT_EQ(requests[0].from, u"Ann"_s);
    requests[0].progress(u"On it."_s);
    requests[0].reply(u"Done."_s);
    ASSERT_TRUE(replied(2));
    EXPECT_EQ(replies[0], QJsonObject({{u"id"_s, 7}, {u"progress"_s, u"On it."_s}}));
    EXPECT_EQ(replies[1], QJsonObject({{u"id"_s, 7}, {u"reply"_s, u"Done."_s}}));
}

TEST_F(TextChannelTest, TheIDIsAnyValueAndTheCallerIsAPhoneWithoutAName) {
    send(uR"({"id": {"a": [null, "é"]}, "text": "t"})"_s);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(requests[0].from, u"phone"_s);
    requests[0].reply(u""_s);
    ASSERT_TRUE(replied(1));
    EXPECT_EQ(QJsonDocument(replies[0]).toJson(QJsonDocument::Compact), R"({"id":{"a":[null,"é"]},"reply":""})");
}

TEST_F(TextChannelTest, WhatIsNoRequestIsIgnoredAndOneWithoutATextIsAnswered) {
    for (const auto &text : {u"garbage"_s, u"[1]"_s, u""_s})
        send(text);
    send(uR"({"id": 1})"_s);
    send(uR"({"id": 2, "text": 5})"_s);
    send(uR"({"id": 3, "text": "real"})"_s);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(requests[0].text, u"real"_s);
    ASSERT_TRUE(replied(2));
    EXPECT_EQ(replies[1], QJsonObject({{u"id"_s, 2}, {u"reply"_s, u"The request has no \"text\"."_s}}));
}

TEST_F(TextChannelTest, AnAnswerForAConnectionThatIsGoneGoesNowhere) {
    send(uR"({"id": 1, "text": "t"})"_s);
    ASSERT_TRUE(asked(1));
    socket.abort();
    requests[0].reply(u"nobody"_s);
    QWebSocket another;
    another.open(QUrl(u"ws://127.0.0.1:%1/?token=token"_s.arg(server.port())));
    EXPECT_TRUE(waitUntil([&] { return another.state() == QAbstractSocket::ConnectedState; }));
}

TEST_F(TextChannelTest, WhoSaysTooMuchBeforeAnybodyListensIsEnded) {
    TcpPeer peer;
    enter(peer); // the main thread does not know of it yet
    EXPECT_EQ(answerToTooMuch(peer), GOODBYE);
    EXPECT_TRUE(asked(3)) << "what was no more than may wait";
}

TEST_F(TextChannelTest, WhoSaysMoreThanIsHeardIsEnded) {
    TcpPeer peer;
    enter(peer);
    peer.write(requestOf(1));
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(answerToTooMuch(peer), GOODBYE); // the main thread hears none of it meanwhile
    EXPECT_TRUE(asked(4));
}

TEST_F(TextChannelTest, WhatHasBeenHeardNoLongerCounts) {
    TcpPeer peer;
    enter(peer);
    for (std::size_t piece = 1; piece <= 5; ++piece) {
        peer.write(requestOf(2 << 20));
        ASSERT_TRUE(asked(piece));
        requests.back().waiting.reset();
    }
    EXPECT_FALSE(peer.hasMore());
}
