// Keeps what a connection says until somebody listens: a peer may talk at once, and who is to hear it is made on
// another thread. Made on the connection's queue, before its first text is told; afterwards any thread.
#pragma once
#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ombru {

class WSConnection;

class Inbox {
public:
    // Kept with a text until it has been dealt with: when too much waits, the connection is closed.
    using Waiting = std::shared_ptr<void>;

    struct Listener {
        // Each comes on the connection's queue, but for early ones.
        std::function<void(const QString &text, Waiting waiting)> onText;
        std::function<void()> onClose; // once
    };

    // From now on it hears the connection.
    static std::shared_ptr<Inbox> of(const std::shared_ptr<WSConnection> &connection);

    // Tells what came so far, in order, and from now on at once. The listener hands over to a thread of its own.
    void open(Listener listener);

private:
    struct Text {
        QString text;
        Waiting waiting;
    };
    bool take(const QString &text); // false when too much waits already
    void close();
    Waiting count(qsizetype characters);

    const std::shared_ptr<std::atomic<qsizetype>> m_waiting = std::make_shared<std::atomic<qsizetype>>(0); // characters

    std::mutex m_mutex; // guards the rest; held while the listener is told, so that nothing overtakes
    Listener m_listener;
    bool m_open = false;
    bool m_closed = false;
    std::vector<Text> m_early;
};

} // namespace ombru
