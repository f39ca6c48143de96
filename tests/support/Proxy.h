// A proxy on the loopback, as an environment may name one: it passes requests on and makes tunnels, all to one server,
// whatever host is asked for, and keeps what it was asked. Main thread; ends with the object.
#pragma once
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <cstdlib>

namespace ombru::test {

class Proxy {
public:
    explicit Proxy(quint16 destination) : m_destination(destination) {
        if (!m_server.listen(QHostAddress::LocalHost))
            std::abort();
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (auto *client = m_server.nextPendingConnection())
                QObject::connect(client, &QTcpSocket::readyRead, client, [this, client] { readHead(client); });
        });
    }

    QByteArray address() const { return "http://127.0.0.1:" + QByteArray::number(m_server.serverPort()); }
    QByteArrayList asked; // the first line of each request

private:
    void readHead(QTcpSocket *client) {
        auto received = client->peek(client->bytesAvailable());
        if (!received.contains("\r\n\r\n"))
            return;
        client->readAll();
        client->disconnect();
        const auto line = received.first(received.indexOf("\r\n"));
        asked.append(line);
        auto *server = new QTcpSocket(client); // goes with its client
        server->connectToHost(QHostAddress::LocalHost, m_destination);
        if (line.startsWith("CONNECT "))
            client->write("HTTP/1.1 200 Connection established\r\n\r\n");
        else
            server->write(received.replace(line, inOriginForm(line)));
        pass(client, server);
        pass(server, client);
    }

    // What a server is asked, who knows only his own host.
    static QByteArray inOriginForm(const QByteArray &line) {
        auto words = line.split(' ');
        words[1] = QUrl(QString::fromUtf8(words[1])).path(QUrl::FullyEncoded).toUtf8();
        return words.join(' ');
    }

    static void pass(QTcpSocket *from, QTcpSocket *to) {
        QObject::connect(from, &QTcpSocket::readyRead, to, [from, to] { to->write(from->readAll()); });
        QObject::connect(from, &QTcpSocket::disconnected, to, &QTcpSocket::disconnectFromHost);
    }

    QTcpServer m_server;
    quint16 m_destination;
};

} // namespace ombru::test
