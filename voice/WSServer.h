// The call server: a WebSocket server on a TCP port of this computer, which lets in whoever knows the token. Made and
// dropped on the main thread; it works on a queue of its own, "ombru.ws", where both callbacks come.
//
// Connections belong to the queue. They stay after stop() and after the server is gone, until their peer or whoever has
// taken them closes them; only handshakes that are still open end with the server.
#pragma once
#include "voice/WSConnection.h"

#include <functional>
#include <memory>

namespace ombru {

class WSServer {
public:
    struct Options {
        quint16 port; // 0 for a free one
        QString token;
        bool anyInterface = false; // not only programs on this computer
        std::function<void(const std::shared_ptr<WSConnection> &)> onConnection = {}; // its handshake has succeeded
        std::function<void(const QString &)> onState = {};                            // a line for the owner
    };

    explicit WSServer(Options options);
    ~WSServer(); // stops
    WSServer(const WSServer &) = delete;
    WSServer &operator=(const WSServer &) = delete;

    // Listens, or says why not; a port that is taken is not tried again.
    void start();
    void stop();

    quint16 port() const; // that it listens on; 0 before and after. Any thread

private:
    class Line;
    std::shared_ptr<Line> m_line;
};

} // namespace ombru
