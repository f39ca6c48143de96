// A call server on a free port with what it told, for tests that are its clients.
#pragma once
#include "base/SerialQueue.h"
#include "tests/support/TcpPeer.h"
#include "voice/WSServer.h"

#include <mutex>

namespace ombru::test {

class CallServer : public ::testing::Test {
protected:
    using Connection = std::shared_ptr<WSConnection>;

    static QByteArray request(const QByteArray &target = "/media?token=abc") {
        return "GET " + target +
               " HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
    }
    static inline const QByteArray WELCOME = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: "
                                             "Upgrade\r\nSec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";
    static inline const QByteArray GOODBYE = QByteArray::fromHex("880203e8");

    void SetUp() override { ASSERT_TRUE(start()); }
    void TearDown() override {
        server.reset();
        EXPECT_TRUE(waitUntil([this] { return m_told.use_count() == 1; })) << "the server is gone";
        for (std::size_t number = 0; number < connections(); ++number)
            EXPECT_TRUE(waitUntil([&] { return connection(number).expired(); })) << "nothing of a connection stays";
    }

    // What onConnection does besides keeping the log; on the queue.
    std::function<void(const Connection &)> onConnection = [](const Connection &) {};

    WSServer::Options options(quint16 port = 0) {
        return {.port = port,
                .token = QStringLiteral("abc"),
                .onConnection = [this, told = m_told](const Connection &connection) { take(connection); },
                .onState = [this, told = m_told](const QString &state) { note("state " + state.toUtf8()); }};
    }
    bool start() {
        server.emplace(options());
        server->start();
        return waitUntil([this] { return server->port() != 0 && !log().isEmpty(); });
    }

    // A client that was let in.
    std::unique_ptr<TcpPeer> join(int receiveBuffer = 0) {
        auto peer = std::make_unique<TcpPeer>(server->port(), receiveBuffer);
        EXPECT_TRUE(peer->write(request()));
        EXPECT_EQ(peer->read(WELCOME.size()), WELCOME);
        return peer;
    }
    QByteArray answerTo(const QByteArray &bytes) {
        TcpPeer peer(server->port());
        EXPECT_TRUE(peer.write(bytes));
        return peer.readToEnd();
    }
    // Whether it still gets and gives messages.
    static bool isServed(TcpPeer &peer) {
        const auto answer = QByteArrayView(WrittenHead(Opcode::pong, 4)).toByteArray() + "here";
        return peer.write(masked(Opcode::ping, "here")) && peer.read(answer.size()) == answer;
    }

    QByteArrayList log() const {
        const std::lock_guard lock(m_mutex);
        return {m_log.begin(), m_log.end()}; // not shared: a race detector cannot see how Qt's parts are handed over
    }
    bool logs(const QByteArray &line) {
        return waitUntil([&] { return log().contains(line); });
    }
    std::weak_ptr<WSConnection> connection(std::size_t number = 0) const {
        const std::lock_guard lock(m_mutex);
        return m_connections.size() > number ? m_connections[number] : std::weak_ptr<WSConnection>();
    }
    std::size_t connections() const {
        const std::lock_guard lock(m_mutex);
        return m_connections.size();
    }
    void forgetConnections() {
        const std::lock_guard lock(m_mutex);
        m_connections.clear();
    }
    void note(const QByteArray &line) {
        const std::lock_guard lock(m_mutex);
        m_log.append(line);
    }

    std::optional<WSServer> server;

private:
    void take(const Connection &connection) {
        {
            const std::lock_guard lock(m_mutex);
            m_connections.push_back(connection);
        }
        connection->onText = [this](const QString &text) { note("text " + text.toUtf8()); };
        connection->onClose = [this] { note("close"); };
        note("connection " + connection->path().toUtf8());
        onConnection(connection);
    }

    const std::shared_ptr<int> m_told = std::make_shared<int>(); // held by whatever may still tell
    mutable std::mutex m_mutex;                                  // guards the rest
    QByteArrayList m_log;
    std::vector<std::weak_ptr<WSConnection>> m_connections;
};

} // namespace ombru::test
