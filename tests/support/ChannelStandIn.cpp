#include "tests/support/ChannelStandIn.h"

#include <QCryptographicHash>
#include <QtEndian>

#include <cstdlib>

namespace ombru::test {

namespace {

constexpr auto GUID = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";

QByteArray headerOf(const QByteArray &head, QByteArray name) {
    for (const auto &line : head.split('\n')) {
        const auto colon = line.indexOf(':');
        if (line.first(std::max<qsizetype>(colon, 0)).toLower() == name.toLower())
            return line.sliced(colon + 1).trimmed();
    }
    return {};
}

// One whole frame from the front of `bytes`, which a client has to mask; none while more is needed.
std::optional<ChannelFrame> takeFrame(QByteArray &bytes) {
    if (bytes.size() < 2)
        return std::nullopt;
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData());
    if ((data[1] & 0x80) == 0)
        std::abort();
    quint64 length = data[1] & 0x7f;
    qsizetype at = 2;
    const qsizetype extended = length == 126 ? 2 : length == 127 ? 8 : 0;
    if (bytes.size() < at + extended + 4)
        return std::nullopt;
    if (extended == 2)
        length = qFromBigEndian<quint16>(data + at);
    if (extended == 8)
        length = qFromBigEndian<quint64>(data + at);
    at += extended;
    const auto *mask = data + at;
    at += 4;
    if (static_cast<quint64>(bytes.size() - at) < length)
        return std::nullopt;
    ChannelFrame frame{data[0] & 0x0f, bytes.mid(at, static_cast<qsizetype>(length)), (data[0] & 0x80) != 0};
    for (qsizetype place = 0; place < frame.payload.size(); ++place)
        frame.payload[place] = static_cast<char>(frame.payload[place] ^ mask[place % 4]);
    bytes.remove(0, at + static_cast<qsizetype>(length));
    return frame;
}

} // namespace

void ChannelStandIn::Connection::send(const ChannelFrame &frame) {
    QByteArray bytes(1, static_cast<char>((frame.last ? 0x80 : 0) | frame.opcode));
    const auto length = frame.payload.size();
    if (length < 126) {
        bytes.append(static_cast<char>(length));
    } else {
        bytes.append(static_cast<char>(127));
        const auto big = qToBigEndian<quint64>(static_cast<quint64>(length));
        bytes.append(reinterpret_cast<const char *>(&big), sizeof big);
    }
    socket->write(bytes + frame.payload);
    socket->flush();
}

ChannelStandIn::ChannelStandIn() {
    if (!m_server.listen(QHostAddress::LocalHost))
        std::abort();
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { accept(); });
}

QUrl ChannelStandIn::url() const {
    return QUrl(QStringLiteral("ws://127.0.0.1:%1/agent?x=1").arg(m_server.serverPort()));
}

void ChannelStandIn::accept() {
    while (auto *socket = m_server.nextPendingConnection()) {
        socket->setParent(nullptr);
        connections.push_back(std::make_unique<Connection>());
        auto &connection = newest();
        connection.socket.reset(socket);
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, &connection] { read(connection); });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, [&connection] { connection.gone = true; });
        if (manner == Manner::hangsUp)
            socket->abort();
    }
}

void ChannelStandIn::read(Connection &connection) const {
    connection.unread += connection.socket->readAll();
    if (connection.head.isEmpty()) {
        const auto end = connection.unread.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        connection.head = connection.unread.first(end);
        connection.unread.remove(0, end + 4);
        if (manner == Manner::answers)
            answer(connection);
    }
    while (auto frame = takeFrame(connection.unread))
        connection.frames.push_back(std::move(*frame));
}

void ChannelStandIn::answer(Connection &connection) const {
    const auto key = headerOf(connection.head, "Sec-WebSocket-Key") + GUID;
    connection.socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                             "Sec-WebSocket-Accept: " +
                             QCryptographicHash::hash(key, QCryptographicHash::Sha1).toBase64() + "\r\n\r\n");
    connection.socket->flush();
}

} // namespace ombru::test
