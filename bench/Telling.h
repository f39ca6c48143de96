// Computers that tell a service what they do, and pages that watch some of them: all in one thread, which says when it
// told something by the moment in its words, and sees by that how long a page waited for it. A client that is not
// served ends the program.
#pragma once
#include "bench/Clients.h"

namespace ombru::bench {

// How a client comes in, and what it says first.
struct Visitor {
    QByteArray path;
    QByteArray headers = {};
    QByteArray greeting = {};
    QByteArray answer = {}; // is in what it hears once it is served; empty when there is none
};

struct Told {
    std::int64_t events = 0;
    double perSecond = 0;
    std::vector<Span> delays = {}; // until a page had it
};

class Telling {
public:
    // Each page watches one computer, and each another one. All are let in.
    Telling(std::uint16_t port, const std::vector<Visitor> &computers, const std::vector<Visitor> &pages);

    // So many events a second of each computer, evenly spread over all; until pages have what they watch.
    Told tell(int aSecond, std::chrono::seconds duration);

private:
    struct Client {
        Descriptor socket;
        FrameReader frames = {};
        QByteArray awaited = {};
    };
    void visit(std::uint16_t port, const Visitor &visitor);
    void poll(Span wait);
    void read(Client &client);
    void take(Client &client, QByteArrayView bytes);
    void hear(Client &client, const Frame &frame);
    void tellOne(const Descriptor &socket);

    std::vector<Client> m_clients; // the computers, then the pages
    std::size_t m_computers;
    Descriptor m_ready;
    QByteArray m_buffer;
    std::vector<Span> m_delays;
};

} // namespace ombru::bench
