// One connection to the session bus. Main thread; it does not wait for the bus, which may be silent, or go away and
// come back: then there is a connection again.
#pragma once
#include "base/Loop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileSystemWatcher>
#include <QTimer>

namespace ombru {

class LastingBus {
public:
    struct Receiver {
        std::function<void()> onConnected;
        std::function<void()> onLost; // or not had at all
    };
    // The name is one that the bus shall know this connection by; empty for none.
    explicit LastingBus(Receiver receiver, QString name = {});
    ~LastingBus();

    void connect(); // does nothing while there is a connection, or one is being made

    bool isConnected() const { return m_isConnected; }
    const QDBusConnection &connection() const { return m_connection; }
    const QString &name() const { return m_name; }

    // Calls back with the answer, an error message when there is none; not once this, or the connection, is gone.
    void call(const QDBusMessage &message, std::function<void(const QDBusMessage &)> onAnswer);

    // Calls back, soon, after such a signal of anybody's.
    void onSignal(const QString &path, const QString &interface, const QString &name, QTimer &soon);

private:
    void attach(const QString &name);
    void requestName();
    void lose();
    void lookAgain();
    void watchPlace();

    const int m_number;
    const QString m_name;
    Receiver m_receiver;
    QDBusConnection m_connection{QString()};
    bool m_isConnected = false;
    bool m_isConnecting = false;
    int m_attempts = 0;
    int m_failures = 0; // one after the other
    Timer m_limit;
    Timer m_again;
    std::unique_ptr<QFileSystemWatcher> m_place; // of the bus, while it is not there
    std::unique_ptr<QTimer> m_lost;              // started by the bus library when the bus of this connection is gone
    std::unique_ptr<QObject> m_answers;          // for those of this connection
    std::shared_ptr<LastingBus *> m_self;        // for a connection that is being made
};

} // namespace ombru
