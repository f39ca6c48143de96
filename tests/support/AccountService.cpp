#include "tests/support/AccountService.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QSslServer>
#include <QtEndian>

#include <cstdlib>

namespace ombru::test {

namespace {

constexpr auto GUID = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";

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

QByteArray AccountRequest::header(const QByteArray &name) const {
    for (const auto &each : head.split('\n')) {
        const auto colon = each.indexOf(':');
        if (each.first(std::max<qsizetype>(colon, 0)).toLower() == name.toLower())
            return each.sliced(colon + 1).trimmed();
    }
    return {};
}

QJsonObject AccountRequest::json() const {
    return QJsonDocument::fromJson(body).object();
}

void AccountService::Channel::send(const ChannelFrame &frame) {
    QByteArray bytes(1, static_cast<char>((frame.last ? 0x80 : 0) | frame.opcode));
    const auto length = frame.payload.size();
    if (length < 126) {
        bytes.append(static_cast<char>(length));
    } else if (length < 65536) {
        bytes.append(static_cast<char>(126));
        const auto big = qToBigEndian<quint16>(static_cast<quint16>(length));
        bytes.append(reinterpret_cast<const char *>(&big), sizeof big);
    } else {
        bytes.append(static_cast<char>(127));
        const auto big = qToBigEndian<quint64>(static_cast<quint64>(length));
        bytes.append(reinterpret_cast<const char *>(&big), sizeof big);
    }
    socket->write(bytes + frame.payload);
    socket->flush();
}

AccountService::AccountService(const std::optional<QSslConfiguration> &encryption, quint16 port) {
    if (encryption) {
        auto server = std::make_unique<QSslServer>();
        server->setSslConfiguration(*encryption);
        m_server = std::move(server);
    } else {
        m_server = std::make_unique<QTcpServer>();
    }
    if (!m_server->listen(QHostAddress::LocalHost, port))
        std::abort();
    // Not newConnection, which an encrypted connection reports before it is one.
    QObject::connect(m_server.get(), &QTcpServer::pendingConnectionAvailable, m_server.get(), [this] { accept(); });
}

QString AccountService::base() const {
    const bool encrypted = qobject_cast<const QSslServer *>(m_server.get()) != nullptr;
    const auto place = encrypted ? QStringLiteral("https://localhost:%1") : QStringLiteral("http://127.0.0.1:%1");
    return place.arg(port());
}

QUrl AccountService::channelURL() const {
    QUrl url(base() + QStringLiteral("/agent?x=1"));
    url.setScheme(url.scheme() == QStringLiteral("http") ? QStringLiteral("ws") : QStringLiteral("wss"));
    return url;
}

void AccountService::accept() {
    while (auto *socket = m_server->nextPendingConnection()) {
        QObject::connect(socket, &QTcpSocket::readyRead, m_server.get(), [this, socket] { readHead(socket); });
        readHead(socket);
    }
}

// One request a connection.
void AccountService::readHead(QTcpSocket *socket) {
    const auto received = socket->peek(socket->bytesAvailable());
    const auto end = received.indexOf("\r\n\r\n");
    if (end < 0)
        return;
    AccountRequest request{received.first(end), {}};
    const auto length = request.header("Content-Length").toLongLong();
    if (received.size() < end + 4 + length)
        return;
    socket->disconnect(m_server.get());
    socket->readAll();
    request.body = received.sliced(end + 4, length);
    if (!request.header("Upgrade").isEmpty())
        return openChannel(socket, request, received.sliced(end + 4 + length));
    requests.push_back(request);
    m_requesters.push_back(socket);
    send(socket, answer(request));
}

void AccountService::answerNow(std::size_t number, const AccountReply &reply) {
    send(m_requesters.at(number), reply);
}

bool AccountService::isWaitedFor(std::size_t number) const {
    return m_requesters.at(number)->state() == QAbstractSocket::ConnectedState;
}

void AccountService::forgetRequests() {
    requests = {};
    for (auto *socket : std::exchange(m_requesters, {}))
        socket->deleteLater();
}

void AccountService::send(QTcpSocket *socket, const AccountReply &reply) {
    using Manner = AccountReply::Manner;
    if (reply.manner == Manner::silence || reply.manner == Manner::later)
        return;
    socket->write("HTTP/1.1 " + QByteArray::number(reply.status) + " -\r\nConnection: close\r\n" + reply.headers +
                  "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\n\r\n");
    socket->write(reply.manner == Manner::whole ? reply.body : reply.body.first(reply.body.size() / 2));
    if (reply.manner != Manner::stallsMidway)
        socket->disconnectFromHost();
}

void AccountService::openChannel(QTcpSocket *socket, const AccountRequest &request, const QByteArray &rest) {
    socket->setParent(nullptr);
    channels.push_back(std::make_unique<Channel>(std::unique_ptr<QTcpSocket>(socket), rest, request));
    auto &channel = newest();
    QObject::connect(socket, &QTcpSocket::disconnected, socket, [&channel] { channel.gone = true; });
    if (manner == Manner::hangsUp)
        socket->abort();
    if (manner == Manner::refuses)
        send(socket, refusal);
    if (manner == Manner::answers)
        answerNow(channel);
}

void AccountService::answerNow(Channel &channel) {
    auto *socket = channel.socket.get();
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, &channel] {
        channel.unread += channel.socket->readAll();
        while (auto frame = takeFrame(channel.unread)) {
            channel.frames.push_back(std::move(*frame));
            onFrame(channel);
        }
    });
    const auto key = channel.request.header("Sec-WebSocket-Key") + GUID;
    socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                  "Sec-WebSocket-Accept: " +
                  QCryptographicHash::hash(key, QCryptographicHash::Sha1).toBase64() + "\r\n\r\n");
    socket->flush();
    onChannel(channel);
}

} // namespace ombru::test
