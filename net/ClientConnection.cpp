#include "net/ClientConnection.h"

#include <QNetworkProxyFactory>
#include <QSslConfiguration>
#include <QSslSocket>

#include <algorithm>
#include <array>
#include <cerrno>
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
    auto bytes = socket.bytesToWrite();
    for (const auto *inner : socket.findChildren<QTcpSocket *>()) // of encryption, of a proxy
        bytes += inner->bytesToWrite();
    return bytes;
}

Descriptor copyOf(const QTcpSocket &socket) {
    return Descriptor(::fcntl(static_cast<int>(socket.socketDescriptor()), F_DUPFD_CLOEXEC, 0));
}

// So that a peer whose computer is gone is noticed. A socket of a proxy or of encryption has the system's inside.
void prepare(const QTcpSocket &socket) {
    auto sockets = socket.findChildren<const QTcpSocket *>();
    sockets.append(&socket);
    for (const auto *each : sockets)
        if (const auto descriptor = copyOf(*each); descriptor.isOpen())
            prepareConnection(descriptor);
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
    // In a turn of their own: the framework finds them also while it sends, in the middle of what its caller does.
    const auto whenItHas = [this, socket](auto signal, auto then) {
        const auto told = [weak = weak_from_this(), then] {
            if (const auto self = weak.lock(); self && self->m_socket)
                then(*self);
        };
        QObject::connect(socket, signal, socket, told, Qt::QueuedConnection);
    };
    whenItHas(&QTcpSocket::readyRead, [](auto &self) { self.receive(); });
    whenItHas(&QTcpSocket::errorOccurred, [](auto &self) { self.end(self.m_socket->errorString()); });
    whenItHas(&QTcpSocket::disconnected, [](auto &self) { self.end({}); });
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
    prepare(*m_socket);
    const bool direct = !isEncrypted() && m_socket->proxy().type() == QNetworkProxy::NoProxy;
    if (direct && !takeOverSocket())
        return;
    if (const auto onOpen = m_listener.onOpen)
        onOpen();
}

// The framework's socket belongs to this thread; a stream's is for all.
bool ClientConnection::takeOverSocket() {
    auto descriptor = copyOf(*m_socket);
    const int error = errno;
    m_transport = Transport::make(m_queue, BUFFER);
    auto stream = descriptor.isOpen() ? m_transport->takeOver({std::move(descriptor), m_url.host()})
                                      : std::unexpected(networkFailure(error));
    if (!stream) {
        end(stream.error().description);
        return false;
    }
    letGoOfSocket();
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
    if (m_socket->bytesAvailable() > 0)
        tell(m_socket->readAll());
}

void ClientConnection::tell(QByteArrayView bytes) {
    if (const auto onReceived = m_listener.onReceived; onReceived && !bytes.isEmpty())
        onReceived(bytes);
}

void ClientConnection::send(QByteArrayView bytes) {
    if (m_stream)
        return m_stream->send({bytes});
    if (!m_socket || m_socket->state() != QTcpSocket::ConnectedState)
        return;
    if (unsent() > MOST_UNSENT)
        return m_queue->post([weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->end(u"%1 does not read what it is sent."_s.arg(self->m_url.host()));
        });
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
    if (m_socket)
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
