// A connection to another computer, encrypted or not, by the proxy that the environment names for its host. What is
// neither encrypted nor behind a proxy goes by the system's socket alone: sending then takes one call to the system,
// from whatever thread, and nothing that encryption needs is loaded.
//
// Everything on the queue, but where it says so. What is told comes on the queue, and may let go of the connection.
#pragma once
#include "net/Stream.h"
#include "net/Transport.h"

#include <QTcpSocket>
#include <QUrl>

#include <functional>
#include <memory>

namespace ombru {

class ClientConnection : public std::enable_shared_from_this<ClientConnection> {
public:
    struct Listener {
        std::function<void()> onOpen;
        std::function<void(QByteArrayView)> onReceived;
        // Once, and nothing after it: it did not open, the other side has ended it, or it broke. In words.
        std::function<void(const QString &)> onEnd;
    };

    // `url`: ws or wss. `authority`: a file with certificates that are trusted besides the system's; empty for none.
    ClientConnection(std::shared_ptr<SerialQueue> queue, QUrl url, QString authority);
    ~ClientConnection();
    ClientConnection(const ClientConnection &) = delete;
    ClientConnection &operator=(const ClientConnection &) = delete;

    void open(Listener listener); // once

    // Whether send() and unsent() may be called from any thread. Settled at onOpen.
    bool isDirect() const { return m_stream != nullptr; }
    void send(QByteArrayView bytes); // once it is open; whole, in the order of the calls
    qint64 unsent() const;           // bytes that wait

    // Nothing more is sent: onEnd comes once the system has all that was, or when that fails.
    void finish();

    // Nothing is told any more. What was sent before still goes out, for a moment, where it is direct; elsewhere only
    // what the system has taken. Or it is broken off.
    void cancel();
    void abort();

private:
    bool isEncrypted() const;
    void connected();
    void receive();
    void tell(QByteArrayView bytes);
    void end(const QString &why);
    void letGoOfSocket();
    bool takeOverSocket();

    const std::shared_ptr<SerialQueue> m_queue;
    const QUrl m_url;
    const QString m_authority;
    Listener m_listener;
    std::unique_ptr<QTcpSocket> m_socket; // until the stream has taken it over
    std::shared_ptr<Transport> m_transport;
    std::shared_ptr<Stream> m_stream;
};

} // namespace ombru
