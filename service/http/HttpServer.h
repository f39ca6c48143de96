// HTTP/1.1 for whoever connects: what a request may cost before anybody looks at it, and its answer when there is one.
// Nobody else touches the HTTP library. Main thread.
#pragma once
#include "base/Failure.h"
#include "base/Task.h"
#include "service/http/Response.h"

#include <functional>
#include <memory>

namespace ombru {

class HttpServer {
public:
    struct Options {
        Interface interface = Interface::loopback;
        std::uint16_t port = 0; // 0 for a free one
        int mostConnections = 1000;
        // Connections of a network. Those of this computer, where a proxy may be, are not counted, nor a named proxy's.
        int mostOfOneAddress = 100;
        std::function<bool(const QString &peer)> isProxy = {};
        Clock::Duration requestLimit = std::chrono::seconds(30); // for a request to arrive, and between two of them
        std::function<qsizetype(const Request &)> mostBody;      // bytes, of a request whose head is there
        std::function<Task<Response>(Request)> answer;
    };
    static constexpr std::size_t MOST_OF_HEAD = 16 << 10; // bytes

    static Result<std::unique_ptr<HttpServer>> start(Options options);
    ~HttpServer(); // after stop()

    std::uint16_t port() const;
    int connections() const;

    // Takes no more; once it returns all answers are given or given up.
    Task<> stop();

private:
    class Daemon;
    explicit HttpServer(std::unique_ptr<Daemon> daemon);
    std::unique_ptr<Daemon> m_daemon;
};

} // namespace ombru
