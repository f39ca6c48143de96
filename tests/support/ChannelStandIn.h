// The service's end of the web channel, frame by frame, so that a test sees and sends exactly what is on the wire. On
// loopback, main thread. It speaks the handshake by itself unless told to be silent or to hang up.
#pragma once
#include <QByteArray>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <functional>
#include <memory>
#include <vector>

namespace ombru::test {

struct ChannelFrame {
    int opcode = 0; // 1 text, 2 binary, 8 close, 9 ping, 10 pong
    QByteArray payload;
    bool last = true;
    bool operator==(const ChannelFrame &) const = default;
};

class ChannelStandIn {
public:
    enum class Manner { answers, stalls, hangsUp };

    struct Connection {
        std::unique_ptr<QTcpSocket> socket;
        QByteArray unread;
        QByteArray head; // of the request, without its empty line
        std::vector<ChannelFrame> frames;
        bool gone = false;

        void send(const ChannelFrame &frame);
        void sendText(const QByteArray &text) { send({1, text}); }
        void hangUp() { socket->abort(); }
    };

    ChannelStandIn();

    QUrl url() const; // ws, with a path
    Manner manner = Manner::answers;
    std::vector<std::unique_ptr<Connection>> connections; // in the order they came
    Connection &newest() { return *connections.back(); }
    std::size_t frameCount() const { return connections.empty() ? 0 : connections.back()->frames.size(); }

private:
    void accept();
    void read(Connection &connection) const;
    void answer(Connection &connection) const;

    QTcpServer m_server;
};

} // namespace ombru::test
