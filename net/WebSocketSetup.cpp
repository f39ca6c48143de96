#include "net/WebSocketSetup.h"

#include <QNetworkProxyFactory>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QWebSocket>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// A channel goes the same way as a page of the same host.
QNetworkProxy proxyFor(QUrl url) {
    url.setScheme(url.scheme() == "ws"_L1 ? u"http"_s : u"https"_s);
    return QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)).value(0, QNetworkProxy::NoProxy);
}

QSslConfiguration encryption(const QString &authority) {
    auto configuration = QSslConfiguration::defaultConfiguration();
    if (!authority.isEmpty())
        configuration.addCaCertificates(authority);
    return configuration;
}

} // namespace

void setUp(QWebSocket &socket, const QUrl &url, const QString &authority, quint64 largestMessage) {
    socket.setProxy(proxyFor(url));
    socket.setSslConfiguration(encryption(authority));
    socket.setMaxAllowedIncomingMessageSize(largestMessage);
    socket.setMaxAllowedIncomingFrameSize(largestMessage);
    socket.setOutgoingFrameSize(QWebSocket::maxOutgoingFrameSize());
}

qint64 unsentBytes(const QWebSocket &socket) {
    const auto *encrypted = socket.findChild<const QSslSocket *>();
    return socket.bytesToWrite() + (encrypted ? encrypted->encryptedBytesToWrite() : 0);
}

} // namespace ombru
