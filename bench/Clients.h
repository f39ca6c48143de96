// Clients of a WebSocket server on this computer, as many as are wanted in one thread: what they say is said at once or
// on a fixed grid, and when the answers come is what is measured. A client that is not served ends the program.
#pragma once
#include "base/Descriptor.h"
#include "net/Frame.h"

#include <chrono>
#include <functional>
#include <vector>

namespace ombru::bench {

using Moment = std::chrono::steady_clock::time_point;
using Span = std::chrono::steady_clock::duration;

double micros(Span span);

// The least value that so many of all (0 to 1) do not exceed.
Span percentile(std::vector<Span> &spans, double share);

struct Echoes {
    double perSecond = 0;
    Span slowest = {}; // of 99 in 100
};

struct Cadence {
    double share = 0; // of the frames that were due
    Span half = {};   // lateness of a frame on its call's own grid: of half of them
    Span most = {};   // of 99 in 100
    Span worst = {};
    Span drift = {}; // between the first tenth of the time and the last
};

class Clients {
public:
    Clients(std::uint16_t port, const QByteArray &path, int count); // all are let in

    // Each sends a text of that size, and again as soon as it has come back, for that long.
    Echoes echo(qsizetype size, Span duration);

    // Each is a telephony provider: it starts a call, a few at a time, and sends 20 ms of sound each 20 ms until all
    // have heard something; and again for as long as is measured.
    void startCalls();
    Cadence measure(Span duration);

    // For as long as it returns true, between what comes, which nobody answers.
    void listen(const std::function<bool()> &more);
    std::function<void(QByteArrayView text)> onOther = [](QByteArrayView) {}; // what is no sound, in a call

private:
    struct Client {
        Descriptor socket;
        FrameReader frames;
        Moment sent;
        std::vector<Moment> sound;
    };
    using OnText = std::function<void(Client &, QByteArrayView text)>;

    void poll(Span wait, const OnText &onText);
    void read(Client &client, const OnText &onText);
    void speakUntil(const std::function<bool()> &done);
    void hear(Client &client, QByteArrayView text);
    bool allHear(std::size_t count) const;

    std::vector<Client> m_clients;
    Descriptor m_ready;
    QByteArray m_buffer;
};

// As many clients at a time are let in and are gone again, for that long; gives how many there were.
std::uint64_t comeAndGo(std::uint16_t port, int atOnce, Span duration);

} // namespace ombru::bench
