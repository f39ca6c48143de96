#include "net/ClientConnection.h"

#include <QNetworkProxyFactory>
#include <QSslConfiguration>
#include <QSslSocket>

#include <algorithm>
#include <array>
#include <fcntl.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int PORT = 80;
constexpr int ENCRYPTED_PORT = 443;
constexpr std::size_t BUFFER = 16 << 10;       // bytes, for what is received at a time
constexpr qsizetype MOST_UNSENT = 256LL << 20; // bytes; more waits only for somebody who does not read

// Nobody else does, as for requests. The framework would look further, with a thread that stays.
bool environmentNamesProxies() {
    constexpr std::array NAMES{"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"};
    return std::ranges::any_of(NAMES, [](const char *name) { return !qEnvironmentVariableIsEmpty(name); });
}

// The same way as a page of the same host.
QNetworkProxy proxyFor(QUrl url) {
    if (!environmentNamesProxies())
        return QNetworkProxy::NoProxy;
    url.setScheme(url.scheme() == "ws"_L1 ? u"http"_s : u"https"_s);
    return QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)).value(0, QNetworkProxy::NoProxy);
}

QSslConfiguration encryption(const QString &authority) {
    auto configuration = QSslConfiguration::defaultConfiguration();
    if (!authority.isEmpty())
        configuration.addCaCertificates(authority);
    return configuration;
}

qint64 unsentBytes(const QTcpSocket &socket) {
    const auto *encrypted = qobject_cast<const QSslSocket *>(&socket);
    return socket.bytesToWrite() + (encrypted ? encrypted->encryptedBytesToWrite() : 0);
}

} // namespace

ClientConnection::ClientConnection(std::shared_ptr<SerialQueue> queue, QUrl url, QString authority)
    : m_queue(std::move(queue)), m_url(std::move(url)), m_authority(std::move(authority)) {}

ClientConnection::~ClientConnection() {
    cancel();
}

bool ClientConnection::isEncrypted() const {
    return m_url.scheme() != "ws"_L1;
}

void ClientConnection::open(Listener listener) {
    m_listener = std::move(listener);
    if (isEncrypted())
        m_socket = std::make_unique<QSslSocket>();
    else
        m_socket = std::make_unique<QTcpSocket>();
    auto *socket = m_socket.get();
    socket->setProxy(proxyFor(m_url));
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [this] { receive(); });
    QObject::connect(socket, &QTcpSocket::errorOccurred, socket, [this, socket] { end(socket->errorString()); });
    if (auto *encrypted = qobject_cast<QSslSocket *>(socket)) {
        QObject::connect(encrypted, &QSslSocket::encrypted, socket, [this] { connected(); });
        encrypted->setSslConfiguration(encryption(m_authority));
        encrypted->connectToHostEncrypted(m_url.host(), static_cast<quint16>(m_url.port(ENCRYPTED_PORT)));
    } else {
        QObject::connect(socket, &QTcpSocket::connected, socket, [this] { connected(); });
        socket->connectToHost(m_url.host(), static_cast<quint16>(m_url.port(PORT)));
    }
}

void ClientConnection::connected() {
    const auto self = shared_from_this();
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    const bool direct = !isEncrypted() && m_socket->proxy().type() == QNetworkProxy::NoProxy;
    if (direct && !takeOverSocket())
        return;
    if (const auto onOpen = m_listener.onOpen)
        onOpen();
}

// The framework's socket belongs to this thread; a stream's is for all.
bool ClientConnection::takeOverSocket() {
    Descriptor descriptor(::fcntl(static_cast<int>(m_socket->socketDescriptor()), F_DUPFD_CLOEXEC, 0));
    m_transport = Transport::make(m_queue, BUFFER);
    auto stream = m_transport->takeOver({std::move(descriptor), m_url.host()});
    letGoOfSocket();
    if (!stream) {
        end(stream.error().description);
        return false;
    }
    m_stream = *stream;
    m_stream->keepAtMost(MOST_UNSENT);
    m_stream->start({.onReceived =
                         [weak = weak_from_this()](QByteArrayView bytes) {
                             if (const auto self = weak.lock())
                                 self->tell(bytes);
                         },
                     .onEnd =
                         [weak = weak_from_this()](const std::optional<Failure> &failure) {
                             if (const auto self = weak.lock())
                                 self->end(failure ? failure->description : u"The remote host closed the connection"_s);
                         }},
                    BUFFER);
    return true;
}

void ClientConnection::receive() {
    const auto self = shared_from_this();
    tell(m_socket->readAll());
}

void ClientConnection::tell(QByteArrayView bytes) {
    if (const auto onReceived = m_listener.onReceived; onReceived && !bytes.isEmpty())
        onReceived(bytes);
}

void ClientConnection::send(QByteArrayView bytes) {
    if (m_stream)
        return m_stream->send({bytes});
    if (!m_socket)
        return;
    m_socket->write(bytes.data(), bytes.size());
    m_socket->flush(); // at once, without another turn of the loop; it may find that the connection is gone
}

qint64 ClientConnection::unsent() const {
    if (m_stream)
        return m_stream->unsent();
    return m_socket ? unsentBytes(*m_socket) : 0;
}

void ClientConnection::finish() {
    if (m_stream)
        return m_stream->send({}, [weak = weak_from_this()](bool /*sent*/) {
            if (const auto self = weak.lock())
                self->end({});
        });
    if (!m_socket)
        return;
    QObject::connect(m_socket.get(), &QTcpSocket::disconnected, m_socket.get(), [this] { end({}); });
    m_socket->disconnectFromHost();
}

void ClientConnection::end(const QString &why) {
    const auto self = shared_from_this();
    const auto onEnd = std::exchange(m_listener, {}).onEnd;
    cancel();
    if (onEnd)
        onEnd(why);
}

// It may be in the middle of telling.
void ClientConnection::letGoOfSocket() {
    m_socket->disconnect();
    m_socket.release()->deleteLater();
}

void ClientConnection::cancel() {
    m_listener = {};
    if (m_stream)
        m_stream->cancel();
    if (!m_socket)
        return;
    m_socket->disconnect();
    m_socket->disconnectFromHost();
    letGoOfSocket();
}

void ClientConnection::abort() {
    m_listener = {};
    if (m_stream)
        m_stream->abort();
    if (m_socket)
        letGoOfSocket();
}

} // namespace ombru
