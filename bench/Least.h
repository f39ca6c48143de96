// The least that a WebSocket server can do on this system: one thread, one wait, and for what comes one receive, the
// mask taken off in place, one send. What others take is told in ratios to it.
#pragma once
#include "base/Descriptor.h"
#include "net/Frame.h"

#include <array>
#include <memory>
#include <span>
#include <vector>

namespace ombru::bench {

class Least {
public:
    Least(); // prints its port
    virtual ~Least() = default;
    Least(const Least &) = delete;
    Least &operator=(const Least &) = delete;
    [[noreturn]] void run();

protected:
    struct Peer {
        explicit Peer(int number) : socket(number) {}
        virtual ~Peer() = default;
        Peer(const Peer &) = delete;
        Peer &operator=(const Peer &) = delete;

        Descriptor socket;
        bool open = false;
        QByteArray in;  // what is not whole yet
        QByteArray out; // what the system has not taken
    };
    virtual std::shared_ptr<Peer> made(int number) const = 0;
    virtual void opened(Peer &peer, QByteArrayView request) = 0;
    virtual void take(Peer &peer, const FrameHead &head, QByteArrayView payload) = 0;
    virtual void gone(Peer & /*peer*/) {}
    virtual void woken(const std::shared_ptr<Peer> & /*peer*/, int /*number*/) {} // by another descriptor of its own

    void watch(const Descriptor &what, std::uint32_t events, int operation);
    std::shared_ptr<Peer> &at(int number); // of a descriptor
    void send(Peer &peer, QByteArrayView bytes);
    QByteArray m_reply; // to whom is taken from, when all of that is taken

private:
    void serve(int number, std::uint32_t events);
    void accept();
    void drop(Peer &peer);
    void flush(Peer &peer);
    void receive(Peer &peer);
    void upgrade(Peer &peer);
    void keepRest(Peer &peer, std::span<char> bytes);

    Descriptor m_ready;
    Descriptor m_listener;
    std::vector<std::shared_ptr<Peer>> m_peers; // by the numbers of their descriptors
    std::array<char, 1 << 20> m_buffer;
};

} // namespace ombru::bench
