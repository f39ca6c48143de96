// Keeps what a connection says until somebody listens: a peer may talk at once, and who is to hear it is made on
// another thread. Made on the connection's queue, before its first text is told; afterwards any thread.
#pragma once
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>

namespace ombru {

class WSConnection;

class Inbox {
public:
    struct Listener {
        std::function<void(const QString &text)> onText; // each comes on the connection's queue, but for early ones
        std::function<void()> onClose;                   // once
    };

    // From now on it hears the connection.
    static std::shared_ptr<Inbox> of(const std::shared_ptr<WSConnection> &connection);

    // Tells what came so far, in order, and from now on at once. The listener hands over to a thread of its own.
    void open(Listener listener);

private:
    void take(const QString &text, WSConnection &connection);
    void close();

    std::mutex m_mutex; // guards all; held while the listener is told, so that nothing overtakes
    Listener m_listener;
    bool m_open = false;
    bool m_closed = false;
    QStringList m_early;
    qsizetype m_size = 0; // characters of the early ones
};

} // namespace ombru
