#include "service/http/HttpServer.h"

#include "base/Background.h"
#include "tests/support/TcpPeer.h"

using namespace ombru;
using namespace ombru::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

class HttpServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto started = HttpServer::start({.mostOfOneAddress = 3,
                                          .isProxy = [](const QString &peer) { return peer == "127.0.0.3"_L1; },
                                          .mostBody = [](const Request &) { return 1000; },
                                          .answer = [this](Request request) { return answer(std::move(request)); }});
        ASSERT_TRUE(started) << started.error().description.toStdString();
        server = *std::move(started);
    }
    void TearDown() override { await(server->stop()); }

    Task<Response> answer(Request request) {
        ++answered;
        if (request.path == "/later"_L1)
            co_await sleep(1s);
        if (request.path == "/socket"_L1)
            co_return Response{.headers = {{"Upgrade", "websocket"}, {"Sec-WebSocket-Accept", "x"}},
                               .take = [this](Accepted connection, QByteArray already) {
                                   taken = std::move(connection.socket);
                                   behind = already;
                               }};
        seen = request;
        co_return Response{.type = "text/plain", .body = "answer to " + request.path.toUtf8()};
    }
    // What a peer gets that sends this and waits for the end.
    QByteArray exchange(const QByteArray &bytes) {
        return await(background([port = server->port(), bytes] {
            TcpPeer peer(port);
            peer.write(bytes);
            return peer.readToEnd();
        }));
    }
    static QByteArray get(const QByteArray &path, const QByteArray &headers = {}) {
        return "GET " + path + " HTTP/1.1\r\nHost: here\r\nConnection: close\r\n" + headers + "\r\n";
    }
    static QByteArray post(const QByteArray &headers, const QByteArray &body) {
        return "POST / HTTP/1.1\r\nHost: here\r\nConnection: close\r\n" + headers + "\r\n" + body;
    }

    std::unique_ptr<HttpServer> server;
    int answered = 0;
    Request seen;
    Descriptor taken;
    QByteArray behind;
};

TEST_F(HttpServerTest, ARequestIsParsedAndAnswered) {
    const auto reply = exchange(get("/a%20b?x=1%262&y", "X-Some: Thing\r\nCookie: a=1; ombru_session=token\r\n"));
    EXPECT_TRUE(reply.startsWith("HTTP/1.1 200 OK\r\n")) << reply.toStdString();
    EXPECT_TRUE(reply.endsWith("\r\n\r\nanswer to /a b"));
    EXPECT_EQ(seen.queryItem("x"), "1&2");
    EXPECT_EQ(seen.header("x-some"), "Thing");
    EXPECT_EQ(seen.cookie("ombru_session"), "token");
    EXPECT_EQ(seen.cookie("session"), "");
    EXPECT_EQ(seen.peer, u"127.0.0.1"_s);
}

TEST_F(HttpServerTest, ABodyComesWhole) {
    exchange(post("Content-Length: 11\r\n", "hello world"));
    EXPECT_EQ(seen.body, "hello world");
    exchange(post("Transfer-Encoding: chunked\r\n", "5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n"));
    EXPECT_EQ(seen.body, "hello world");
}

TEST_F(HttpServerTest, AnAnswerMayComeLater) {
    ManualClock clock;
    const auto reply = std::make_shared<std::optional<QByteArray>>();
    const auto waiting = keep(background([port = server->port()] {
                                  TcpPeer peer(port);
                                  peer.write(get("/later"));
                                  return peer.readToEnd();
                              }),
                              reply);
    ASSERT_TRUE(waitUntil([this] { return answered == 1; }));
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([&] { return reply->has_value(); }));
    EXPECT_TRUE((*reply)->endsWith("answer to /later"));
}

TEST_F(HttpServerTest, OneAddressHasSoManyConnectionsUnlessItIsTheProxys) {
    std::vector<std::unique_ptr<TcpPeer>> peers;
    const auto connectFrom = [&](const char *address, int count) {
        for (int number = 0; number < count; ++number)
            peers.push_back(std::make_unique<TcpPeer>(server->port(), 0, address));
    };
    connectFrom("127.0.0.2", 3);
    ASSERT_TRUE(waitUntil([this] { return server->connections() == 3; }));
    connectFrom("127.0.0.2", 1);
    EXPECT_TRUE(waitUntil([&] { return peers.back()->hasMore(); })) << "one more is closed";
    EXPECT_EQ(server->connections(), 3);
    connectFrom("127.0.0.3", 5);
    EXPECT_TRUE(waitUntil([this] { return server->connections() == 8; }));
    connectFrom("127.0.0.1", 5);
    EXPECT_TRUE(waitUntil([this] { return server->connections() == 13; }));
}

TEST_F(HttpServerTest, WhatIsTooLongIsRefusedBeforeItComes) {
    const auto reply = exchange(post("Content-Length: 1073741824\r\n", ""));
    EXPECT_TRUE(reply.startsWith("HTTP/1.1 413")) << reply.toStdString();
    EXPECT_EQ(answered, 0);
}

TEST_F(HttpServerTest, WhatTurnsOutTooLongLosesItsConnection) {
    QByteArray chunks;
    for (int number = 0; number < 100; ++number)
        chunks += "64\r\n" + QByteArray(100, 'x') + "\r\n";
    exchange(post("Transfer-Encoding: chunked\r\n", chunks));
    EXPECT_EQ(answered, 0);
    EXPECT_TRUE(exchange(get("/")).startsWith("HTTP/1.1 200"));
}

TEST_F(HttpServerTest, AHeadThatIsTooLongIsRefused) {
    const auto reply = exchange(get("/", "X-Long: " + QByteArray(100'000, 'x') + "\r\n"));
    EXPECT_FALSE(reply.startsWith("HTTP/1.1 200"));
    EXPECT_EQ(answered, 0);
}

TEST_F(HttpServerTest, WhatTwoServersCouldReadDifferentlyIsRefused) {
    const QByteArray smuggled = "GET /smuggled HTTP/1.1\r\nHost: here\r\n\r\n";
    for (const auto &headers : {QByteArray("Content-Length: 4\r\nTransfer-Encoding: chunked\r\n"),
                                QByteArray("Content-Length: 4\r\nContent-Length: 5\r\n"),
                                QByteArray("Transfer-Encoding: chunked\r\nTransfer-Encoding: identity\r\n"),
                                QByteArray("Host: elsewhere\r\nContent-Length: 0\r\n")}) {
        const auto reply = exchange(post(headers, "0\r\n\r\n" + smuggled));
        EXPECT_TRUE(reply.startsWith("HTTP/1.1 400")) << headers.toStdString() << reply.toStdString();
    }
    EXPECT_EQ(answered, 0);
}

TEST_F(HttpServerTest, ASlowRequestIsEndedAndOthersAreServedMeanwhile) {
    ManualClock clock;
    const auto ended = std::make_shared<std::optional<QByteArray>>();
    const auto slow = keep(background([port = server->port()] {
                               TcpPeer peer(port);
                               peer.write("GET / HTTP/1.1\r\nHost: he");
                               return peer.readToEnd();
                           }),
                           ended);
    ASSERT_TRUE(waitUntil([this] { return server->connections() == 1; }));
    EXPECT_TRUE(exchange(get("/")).startsWith("HTTP/1.1 200"));
    clock.advance(29s);
    settle();
    EXPECT_FALSE(ended->has_value());
    for (int round = 0; round < 3; ++round) {
        clock.advance(5s);
        settle();
    }
    ASSERT_TRUE(waitUntil([&] { return ended->has_value(); }));
    EXPECT_EQ(answered, 1);
}

TEST_F(HttpServerTest, ARequestThatIsCutHarmsNobody) {
    await(background([port = server->port()] {
        TcpPeer peer(port);
        peer.write("POST / HTTP/1.1\r\nHost: here\r\nContent-Length: 100\r\n\r\nonly a part");
        peer.reset();
        return 0;
    }));
    EXPECT_TRUE(exchange(get("/")).startsWith("HTTP/1.1 200"));
    EXPECT_EQ(answered, 1);
}

TEST_F(HttpServerTest, AnUpgradedConnectionIsHandedOverWithWhatCameBehindIt) {
    const auto head = await(background([port = server->port()] {
        TcpPeer peer(port);
        peer.write("GET /socket HTTP/1.1\r\nHost: here\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\nearly");
        QByteArray all;
        while (!all.contains("\r\n\r\n")) {
            const auto some = peer.readSome();
            if (some.isEmpty())
                break;
            all += some;
        }
        return all;
    }));
    EXPECT_TRUE(head.startsWith("HTTP/1.1 101 Switching Protocols\r\n")) << head.toStdString();
    EXPECT_TRUE(head.contains("\r\nUpgrade: websocket\r\n"));
    ASSERT_TRUE(waitUntil([this] { return taken.isOpen() && server->connections() == 0; }));
    std::array<char, 16> bytes{};
    if (behind.isEmpty())
        behind = QByteArray(bytes.data(), ::read(taken.number(), bytes.data(), bytes.size()));
    EXPECT_EQ(behind, "early");
}

TEST_F(HttpServerTest, APortThatIsTakenIsAFailure) {
    const auto second = HttpServer::start({.port = server->port(), .mostBody = {}, .answer = {}});
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().description, u"Address already in use"_s);
}

} // namespace
