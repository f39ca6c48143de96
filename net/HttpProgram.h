// ombru-http as it runs, which makes requests: net/HttpWire.h. It ends with this. One thread.
#pragma once
#include "base/Descriptor.h"
#include "base/Failure.h"
#include "net/HttpWire.h"

#include <QString>

#include <sys/types.h>

namespace ombru {

class HttpProgram {
public:
    // A Failure, here and below, says what to do.
    static Result<std::unique_ptr<HttpProgram>> start(const QString &program);
    static Failure unreadable(); // of one that answers something else
    static Failure silent();     // of one that does not answer
    ~HttpProgram();              // blocks for a moment at most
    HttpProgram(const HttpProgram &) = delete;
    HttpProgram &operator=(const HttpProgram &) = delete;

    int descriptor() const { return m_socket.number(); } // ready when there is something to receive, or to send
    bool hasUnsent() const { return !m_unsent.empty(); }

    void tell(const http::Packet &packet) { http::append(packet, m_unsent); }
    void send(); // what it takes now

    // What has come. A Failure once no more comes: the program has ended, or talks nonsense.
    Result<> receive(std::vector<http::Packet> &packets);

private:
    HttpProgram(pid_t pid, Descriptor socket);
    Failure ended();
    int awaitEnd();

    pid_t m_pid = 0; // 0 once it was waited for
    Descriptor m_socket;
    std::string m_unsent;
    http::PacketReader m_reader;
};

} // namespace ombru
