#include "voice/WSServer.h"

#include "tests/support/DescriptorLimit.h"
#include "tests/voice/CallServer.h"

#include <thread>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::masked;
using test::TcpPeer;
using test::waitUntil;

namespace {

constexpr auto WRONG_KIND = "HTTP/1.1 426 Upgrade Required\r\nContent-Length: 0\r\n\r\n";
constexpr auto NOT_ALLOWED = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";

class WSServerTest : public test::CallServer {
protected:
    static QByteArray frame(Opcode opcode, const QByteArray &payload) {
        return QByteArrayView(WrittenHead(opcode, static_cast<std::uint64_t>(payload.size()))).toByteArray() + payload;
    }
    static bool canConnect(quint16 port, const char *host = "127.0.0.1") { return TcpPeer().tryConnect(port, host); }
    qsizetype count(const QByteArray &line) const { return log().count(line); }
};

} // namespace

// --- The listener

TEST_F(WSServerTest, ItSaysOnWhichPortItTakesCalls) {
    EXPECT_EQ(log(), (QByteArrayList{"state taking calls on port " + QByteArray::number(server->port())}));
}

TEST_F(WSServerTest, APortInUseIsSaidAndNotTriedAgain) {
    ManualClock clock;
    const auto port = server->port();
    WSServer second(options(port));
    second.start();
    EXPECT_TRUE(logs("state ✗ call server: Address already in use — is the Python harness still running?"));
    server.reset();
    EXPECT_TRUE(waitUntil([port] { return !canConnect(port); }));
    clock.advance(1h);
    EXPECT_EQ(second.port(), 0);
    EXPECT_FALSE(canConnect(port));
}

TEST_F(WSServerTest, AListenerThatCannotBeMadeIsSaid) {
    WSServer second(options());
    const auto limit = test::DescriptorLimit::noMore();
    second.start();
    EXPECT_TRUE(logs("state ✗ call server: Too many open files"));
    EXPECT_EQ(second.port(), 0);
}

TEST_F(WSServerTest, ItListensOnLoopbackUnlessToldOtherwise) {
    auto any = options();
    any.anyInterface = true;
    WSServer open(any);
    open.start();
    ASSERT_TRUE(waitUntil([&open] { return open.port() != 0; }));
    EXPECT_TRUE(canConnect(open.port(), "127.0.0.2")) << "which stands for any other address of this computer";
    EXPECT_FALSE(canConnect(server->port(), "127.0.0.2"));
    EXPECT_TRUE(canConnect(server->port()));
}

TEST_F(WSServerTest, AStopLeavesTheConnectionsAndAStartListensAgain) {
    const auto peer = join();
    const auto port = server->port();
    server->stop();
    ASSERT_TRUE(waitUntil([port] { return !canConnect(port); }));
    EXPECT_TRUE(isServed(*peer));
    server->start();
    EXPECT_TRUE(waitUntil([this] { return server->port() != 0; }));
    EXPECT_TRUE(isServed(*join()));
}

TEST_F(WSServerTest, ConnectionsOutliveTheServerAndOpenHandshakesDoNot) {
    const auto peer = join();
    TcpPeer half(server->port());
    EXPECT_TRUE(half.write("GET /media"));
    EXPECT_TRUE(isServed(*join())) << "and so the half one was accepted";
    server.reset();
    EXPECT_EQ(half.readToEnd(), "");
    EXPECT_TRUE(isServed(*peer));
    connection().lock()->send(u"still"_s);
    EXPECT_EQ(peer->read(7), frame(Opcode::text, "still"));
    peer->write(masked(Opcode::close, ""));
    EXPECT_EQ(peer->readToEnd(), GOODBYE);
    EXPECT_TRUE(logs("close"));
}

TEST_F(WSServerTest, AServerWithoutCallbacksServes) {
    WSServer bare({.port = 0, .token = u"abc"_s});
    bare.start();
    ASSERT_TRUE(waitUntil([&bare] { return bare.port() != 0; }));
    TcpPeer peer(bare.port());
    peer.write(request());
    EXPECT_EQ(peer.read(WELCOME.size()), WELCOME);
    EXPECT_TRUE(isServed(peer));
}

// --- The handshake

TEST_F(WSServerTest, AConnectionKnowsItsPathAndItsPeer) {
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    EXPECT_EQ(connection().lock()->peer(), u"127.0.0.1:"_s + QString::number(peer->ownPort()));
}

TEST_F(WSServerTest, APeerByIPv4IsNamedSoOnASocketOfBothFamilies) {
    auto any = options();
    any.anyInterface = true;
    server.emplace(any);
    server->start();
    ASSERT_TRUE(waitUntil([this] { return server->port() != 0; }));
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    EXPECT_EQ(connection().lock()->peer(), u"127.0.0.1:"_s + QString::number(peer->ownPort()));
}

TEST_F(WSServerTest, ARequestIsAnsweredWhenItsLastPieceArrives) {
    TcpPeer peer(server->port());
    const auto whole = request();
    for (const auto &piece : {whole.first(3), whole.sliced(3, 40), whole.sliced(43, whole.size() - 44)}) {
        peer.write(piece);
        EXPECT_TRUE(isServed(*join()));
        EXPECT_FALSE(peer.hasMore());
    }
    peer.write(whole.last(1));
    EXPECT_EQ(peer.read(WELCOME.size()), WELCOME);
}

TEST_F(WSServerTest, FramesBehindTheRequestAreReadOnceTheConnectionIsTaken) {
    TcpPeer peer(server->port());
    peer.write(request() + masked(Opcode::text, "at once") + masked(Opcode::text, "and more").first(5));
    ASSERT_TRUE(logs("text at once"));
    peer.write(masked(Opcode::text, "and more").sliced(5));
    ASSERT_TRUE(logs("text and more"));
    EXPECT_EQ(log().sliced(1), (QByteArrayList{"connection /media", "text at once", "text and more"}));
}

TEST_F(WSServerTest, ARefusalIsWholeAndThenTheConnectionEnds) {
    EXPECT_EQ(answerTo(request("/media?token=wrong")), NOT_ALLOWED);
    EXPECT_EQ(answerTo(request("/twilio?token=abc")), NOT_ALLOWED);
    EXPECT_EQ(answerTo("GET /media?token=abc HTTP/1.1\r\nHost: x\r\n\r\n"), WRONG_KIND);
    EXPECT_EQ(log().size(), 1) << "nobody is told of it";
}

TEST_F(WSServerTest, ARefusalReachesAPeerThatHasSaidMore) {
    EXPECT_EQ(answerTo(request("/?token=wrong") + QByteArray(40'000, 'x')), NOT_ALLOWED);
}

TEST_F(WSServerTest, ARequestWhoseSenderHasFinishedIsStillAnswered) {
    TcpPeer peer(server->port());
    peer.write(request());
    peer.finishSending();
    EXPECT_EQ(peer.readToEnd(), WELCOME + GOODBYE);
    EXPECT_TRUE(logs("close"));
}

TEST_F(WSServerTest, AHeaderOf16384BytesWaitsAndOneMoreEndsIt) {
    TcpPeer peer(server->port());
    const auto request = this->request().chopped(2);
    peer.write(request + "X: " + QByteArray(16'384 - request.size() - 3, 'x'));
    EXPECT_TRUE(isServed(*join()));
    EXPECT_FALSE(peer.hasMore());
    TcpPeer other(server->port());
    other.write(request + "X: " + QByteArray(16'385 - request.size() - 3, 'x'));
    EXPECT_EQ(other.readToEnd(), "");
    peer.write("\r\n\r\n");
    EXPECT_EQ(peer.read(WELCOME.size()), WELCOME);
}

TEST_F(WSServerTest, AHandshakeThatEndsEarlyIsDroppedInSilence) {
    TcpPeer peer(server->port());
    peer.write("GET / HTTP/1.1\r\n");
    peer.finishSending();
    EXPECT_EQ(peer.readToEnd(), "");
    EXPECT_EQ(log().size(), 1);
}

// --- Frames

TEST_F(WSServerTest, TextArrivesWholeAndInOrder) {
    const auto peer = join();
    peer->write(masked(Opcode::text, "one") + masked(Opcode::text, "") + masked(Opcode::text, "drei ✓"));
    ASSERT_TRUE(logs("text drei ✓"));
    EXPECT_EQ(log().sliced(2), (QByteArrayList{"text one", "text ", "text drei ✓"}));
}

TEST_F(WSServerTest, FragmentsAreOneMessage) {
    const auto peer = join();
    peer->write(masked(Opcode::text, "a", false) + masked(Opcode::continuation, "b", false) +
                masked(Opcode::ping, "between") + masked(Opcode::continuation, "c"));
    ASSERT_TRUE(logs("text abc"));
    EXPECT_EQ(log().size(), 3);
    EXPECT_EQ(peer->read(9), frame(Opcode::pong, "between"));
}

TEST_F(WSServerTest, ACharacterMayBeCutByAFragment) {
    const auto peer = join();
    peer->write(masked(Opcode::text, "\xE2\x9C", false) + masked(Opcode::continuation, "\x93"));
    EXPECT_TRUE(logs("text ✓"));
}

TEST_F(WSServerTest, BinaryReservedAndStrayFramesAreText) {
    const auto peer = join();
    peer->write(masked(Opcode::binary, "binary") + masked(static_cast<Opcode>(5), "reserved") +
                masked(static_cast<Opcode>(15), "control") + masked(Opcode::continuation, "stray"));
    ASSERT_TRUE(logs("text stray"));
    EXPECT_EQ(log().sliced(2), (QByteArrayList{"text binary", "text reserved", "text control", "text stray"}));
}

TEST_F(WSServerTest, UnmaskedFramesAndReservedBitsAreAccepted) {
    const auto peer = join();
    peer->write(frame(Opcode::text, "plain") + QByteArray("\xF1\x03").append("rsv"));
    ASSERT_TRUE(logs("text rsv"));
    EXPECT_EQ(log().sliced(2), (QByteArrayList{"text plain", "text rsv"}));
}

TEST_F(WSServerTest, WhatIsNotUtf8IsReplacedAndAByteOrderMarkStays) {
    const auto peer = join();
    peer->write(masked(Opcode::text, "a\xFFz") + masked(Opcode::text, "\xEF\xBB\xBFz"));
    EXPECT_TRUE(logs("text a\xEF\xBF\xBDz"));
    EXPECT_TRUE(logs("text \xEF\xBB\xBFz"));
    peer->write(masked(Opcode::text, "\xC3"));
    EXPECT_TRUE(logs("text \xEF\xBF\xBD")) << "also one that is cut off";
}

TEST_F(WSServerTest, APingIsAnsweredWithWhatItCarries) {
    const auto peer = join();
    peer->write(masked(Opcode::pong, "ignored") + masked(Opcode::ping, "x") +
                masked(Opcode::ping, QByteArray(70'000, 'y')));
    EXPECT_EQ(peer->read(3), frame(Opcode::pong, "x"));
    EXPECT_EQ(peer->read(70'010), frame(Opcode::pong, QByteArray(70'000, 'y')));
    EXPECT_EQ(log().size(), 2);
}

TEST_F(WSServerTest, MessagesOfEverySizeComeAndGo) {
    onConnection = [](const Connection &connection) {
        connection->onText = [weak = std::weak_ptr(connection)](const QString &text) { weak.lock()->send(text); };
    };
    const auto peer = join();
    for (const qsizetype size : {0, 1, 125, 126, 65'535, 65'536, 16 << 20}) {
        const QByteArray payload(size, 'a');
        std::jthread writer([&] { peer->write(masked(Opcode::text, payload)); });
        const auto expected = frame(Opcode::text, payload);
        EXPECT_TRUE(peer->read(expected.size()) == expected) << size;
    }
}

TEST_F(WSServerTest, WhatManyThreadsSendGoesOutWholeAndInTheOrderOfEach) {
    constexpr int THREADS = 4;
    constexpr int FRAMES = 500;
    const auto peer = join(4096);
    ASSERT_TRUE(logs("connection /media"));
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([thread, connection = connection().lock()] {
            for (int number = 0; number < FRAMES; ++number)
                connection->send(QString(3000, QChar(u'a' + thread)) + QString::number(number));
        });
    FrameReader reader;
    std::vector<int> next(THREADS);
    for (int seen = 0; seen < THREADS * FRAMES;) {
        reader.append(peer->readSome());
        for (auto some = reader.next(); *some; some = reader.next(), ++seen) {
            const auto payload = (*some)->payload;
            const auto thread = static_cast<std::size_t>(payload[0] - 'a');
            ASSERT_EQ(payload.first(3000), QByteArray(3000, payload[0]));
            ASSERT_EQ(payload.sliced(3000), QByteArray::number(next[thread]++));
        }
    }
}

// --- The end

TEST_F(WSServerTest, ACloseIsAnsweredWithNormalClosureWhateverItSays) {
    for (const auto *status : {"", "03e8", "03e9", "1194627965"}) {
        const auto peer = join();
        peer->write(masked(Opcode::close, QByteArray::fromHex(status)));
        EXPECT_EQ(peer->readToEnd(), GOODBYE) << status;
    }
    EXPECT_TRUE(waitUntil([this] { return count("close") == 4; }));
}

TEST_F(WSServerTest, ClosingTwiceClosesOnce) {
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    const auto connection = this->connection().lock();
    connection->send(u"last"_s);
    connection->close();
    connection->close();
    connection->send(u"too late"_s);
    peer->write(masked(Opcode::close, ""));
    EXPECT_EQ(peer->readToEnd(), frame(Opcode::text, "last") + GOODBYE);
    EXPECT_TRUE(waitUntil([&] { return connection.use_count() == 1; })) << "nothing else keeps it";
    EXPECT_EQ(count("close"), 1);
}

TEST_F(WSServerTest, AfterACloseNothingMoreIsTold) {
    onConnection = [this](const Connection &connection) {
        connection->onText = [this, weak = std::weak_ptr(connection)](const QString &text) {
            note("text " + text.toUtf8());
            weak.lock()->close();
        };
    };
    const auto peer = join();
    peer->write(masked(Opcode::text, "one") + masked(Opcode::text, "two") + masked(Opcode::ping, "x"));
    EXPECT_EQ(peer->readToEnd(), GOODBYE);
    ASSERT_TRUE(logs("close"));
    EXPECT_EQ(log().sliced(2), (QByteArrayList{"text one", "close"}));
}

TEST_F(WSServerTest, TheEndOfThePeerCloses) {
    const auto peer = join();
    peer->write(masked(Opcode::text, "last").first(4));
    peer->finishSending();
    EXPECT_EQ(peer->readToEnd(), GOODBYE);
    EXPECT_TRUE(logs("close"));
}

TEST_F(WSServerTest, TheCrashOfThePeerCloses) {
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    peer->reset();
    EXPECT_TRUE(logs("close"));
    EXPECT_TRUE(waitUntil([this] { return connection().expired(); }));
    EXPECT_EQ(count("close"), 1);
}

TEST_F(WSServerTest, AConnectionThatNobodyKeepsLivesUntilItIsClosed) {
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    EXPECT_TRUE(isServed(*peer));
    EXPECT_FALSE(connection().expired());
    peer->close();
    EXPECT_TRUE(waitUntil([this] { return connection().expired(); }));
}

TEST_F(WSServerTest, WhatTheCallbacksHoldIsLetGoOfWithTheClose) {
    const auto held = std::make_shared<int>();
    onConnection = [&held](const Connection &connection) {
        connection->onText = [held, connection](const QString &) {};
        connection->onClose = [held, connection] {};
    };
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    connection().lock()->close();
    onConnection = {};
    EXPECT_TRUE(waitUntil([&] { return held.use_count() == 1 && connection().expired(); }));
}

TEST_F(WSServerTest, TheCloseFrameReachesAPeerThatGoesOnSending) {
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    peer->write(masked(Opcode::close, "") + QByteArray(1 << 20, 'x'));
    EXPECT_TRUE(peer->write(QByteArray(1 << 20, 'x'))) << "garbage behind it is read and dropped";
    EXPECT_EQ(peer->readToEnd(), GOODBYE);
}

TEST_F(WSServerTest, APeerThatNeverEndsIsNotWaitedForLong) {
    ManualClock clock;
    const auto peer = join();
    ASSERT_TRUE(logs("connection /media"));
    connection().lock()->close();
    EXPECT_EQ(peer->readToEnd(), GOODBYE);
    EXPECT_TRUE(peer->write("x"));
    EXPECT_TRUE(logs("close"));
    EXPECT_TRUE(waitUntil([this] { return connection().expired(); })) << "only its socket is left";
    clock.advance(2s);
    EXPECT_TRUE(waitUntil([&] { return !peer->write("x"); }));
}

TEST_F(WSServerTest, WhatIsOpenAtTheEndOfTheProgramIsNoLeak) {
    static std::unique_ptr<TcpPeer> stays; // for the leak sanitizer to look
    stays = join();
    ASSERT_TRUE(logs("connection /media"));
    forgetConnections();
}
