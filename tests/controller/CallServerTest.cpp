// Who reaches the call desk's server, and when nobody does any more: peers that come as it is stopped.

#include "tests/controller/LinkFixture.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/TcpPeer.h"

#include <QTcpServer>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::masked;
using test::TcpPeer;
using test::waitUntil;

namespace {

constexpr auto ELSEWHERE = "127.0.0.2"; // stands for any other address of this computer

quint16 freePort() {
    QTcpServer server;
    EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
    return server.serverPort();
}

class CallServerTest : public test::LinkFixture {
protected:
    CallServerTest() {
        EXPECT_TRUE(state->settings.callPort.write(port));
        config = json(R"({"email": "ann@host", "trusted": true, "ws_token": "tok", "share_audio": "off"})");
    }
    void open() {
        boot();
        ASSERT_TRUE(waitUntil([this] { return state->serverListening(); })) << state->serverStatus().toStdString();
    }
    // A peer whom the server lets in while the main thread waits for it; what it writes has come once a ping is
    // answered.
    void enter(TcpPeer &peer, const QByteArray &target = "/?token=tok") {
        peer.connect(port);
        peer.write("GET " + target +
                   " HTTP/1.1\r\nUpgrade: websocket\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
        EXPECT_TRUE(peer.read(129).startsWith("HTTP/1.1 101 "));
    }
    static void tell(TcpPeer &peer, const QByteArray &text) {
        peer.write(masked(Opcode::text, text) + masked(Opcode::ping, ""));
        EXPECT_EQ(peer.read(2), QByteArray("\x8a\x00", 2));
    }
    static bool isReadable(const TcpPeer &peer) {
        return waitUntil([&] { return peer.hasMore(); });
    }

    const quint16 port = freePort();
};

} // namespace

TEST_F(CallServerTest, ServesMoreConnectionsThanAProgramUsuallyMayHaveFilesOpen) {
    const test::DescriptorLimit usual(1024);
    open();
    std::vector<std::unique_ptr<TcpPeer>> peers;
    for (int number = 0; number < 1100; ++number)
        enter(*peers.emplace_back(std::make_unique<TcpPeer>()));
    tell(*peers.front(), "first");
    tell(*peers.back(), "last");
}

TEST_F(CallServerTest, ARequestThatComesWithTheEndOfTheProgramBeginsNothing) {
    open();
    TcpPeer call; // whose end is waited for
    enter(call, "/media?token=tok");
    EXPECT_TRUE(waitUntil([this] { return state->shareAudio(false); }));
    answerQuestions({u"DONE: late"_s});
    TcpPeer peer;
    enter(peer);
    tell(peer, R"({"text": "stop"})");
    ASSERT_TRUE(isReadable(peer));
    EXPECT_TRUE(peer.readSome().contains("running right now")) << "it is served";
    tell(peer, R"({"text": "write it"})"); // and waits for the main thread
    test::await(state->drain());
    comeToRest();
    EXPECT_TRUE(events.filter(u"write it"_s).isEmpty()) << events.join(u'\n').toStdString();
    EXPECT_FALSE(state->busy());
}

TEST_F(CallServerTest, WhoIsLetInAsTheServerIsStoppedIsSentAway) {
    open();
    TcpPeer peer;
    enter(peer, "/media?token=tok");
    state->signOut();
    ASSERT_TRUE(isReadable(peer));
    EXPECT_EQ(peer.readToEnd(), QByteArray::fromHex("880203e8"));
    EXPECT_FALSE(state->shareAudio(true)) << "it is no call";
}

TEST_F(CallServerTest, AConfigurationThatComesAfterASignOutOpensNoPort) {
    service.answer = [this](const test::AccountRequest &request) {
        state->signOut();
        return answer(request);
    };
    boot();
    comeToRest();
    EXPECT_EQ(state->serverStatus(), u""_s);
    EXPECT_FALSE(TcpPeer().tryConnect(port));
}

TEST_F(CallServerTest, TheNetworkReachesItOnlyWhereTheOwnerWantsThat) {
    open();
    EXPECT_FALSE(TcpPeer().tryConnect(port, ELSEWHERE));
}

TEST_F(CallServerTest, TheNetworkReachesItWhereTheOwnerWantsThat) {
    EXPECT_TRUE(state->settings.callInterface.write(u"any"_s));
    open();
    EXPECT_TRUE(TcpPeer().tryConnect(port, ELSEWHERE));
}
