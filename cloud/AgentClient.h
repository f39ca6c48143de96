// The one channel to the service's web page: a WebSocket that comes back by itself after a loss, later each time, and
// is kept alive by pings. The connection's state lives on a queue of its own, "ombru.agent", where a message of many
// megabytes holds up nothing else; the operations may be called from any thread. What is sent while there is no
// connection is gone.
//
// Both callbacks come on the queue. stop() is final; a client that is dropped without one says goodbye, too.
#pragma once
#include "base/Task.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

namespace ombru {

class AgentClient {
public:
    struct Options {
        QUrl url;      // ws or wss
        QString token; // of this device
        QByteArray userAgent;
        QString authority = {}; // a file with certificates that are trusted besides the system's; empty for none
        std::function<void(const QJsonObject &)> onMessage = {}; // each object that comes in
        std::function<void(bool)> onConnected = {};              // opened, dropped
    };

    explicit AgentClient(Options options); // main thread
    ~AgentClient();

    void start();
    void stop();

    // Makes the JSON text of a message, in UTF-8. A lengthy one is made on the queue, since it takes its time, and so
    // is any while others wait there. A brief one is made and written by whoever calls, where the connection allows
    // that: to wake another thread for it would take as long again. All go out in the order of the calls of one thread.
    using Maker = std::move_only_function<QByteArray()>;
    enum class Length { brief, lengthy };
    void send(Maker message, Length length = Length::lengthy);
    void sendAudio(QByteArray bytes); // dropped while too much waits to be sent: late sound is worth nothing

    // stop(), and waits until all has been sent, a second at most. Main thread.
    Task<> end();

private:
    class Link;
    std::shared_ptr<Link> m_link;
};

} // namespace ombru
