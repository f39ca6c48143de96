// The least that a WebSocket server can do on this system: one thread, one wait, and for what comes one receive, the
// mask taken off in place, one send. A timer a call. What others take is told in ratios to it. Usage:
// bench-least-server
#include "base/Descriptor.h"
#include "bench/Race.h"
#include "bench/Served.h"
#include "net/Frame.h"

#include <QCryptographicHash>

#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <memory>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>

using namespace ombru;

namespace {

struct Peer {
    explicit Peer(int number) : socket(number) {}

    Descriptor socket;
    Descriptor timer;
    bool open = false;
    bool echoes = false;
    QByteArray in;  // what is not whole yet
    QByteArray out; // what the system has not taken
    QByteArray sound;
};

class Server {
public:
    Server() : m_ready(::epoll_create1(0)), m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *name = reinterpret_cast<sockaddr *>(&address);
        if (::bind(m_listener.number(), name, size) != 0 || ::listen(m_listener.number(), SOMAXCONN) != 0)
            bench::fail("the least server does not listen");
        ::getsockname(m_listener.number(), name, &size);
        watch(m_listener, EPOLLIN, EPOLL_CTL_ADD);
        std::printf("%d\n", int(ntohs(address.sin_port)));
        std::fflush(stdout);
    }

    [[noreturn]] void run() {
        std::array<epoll_event, 512> events;
        while (true) {
            const int count = ::epoll_wait(m_ready.number(), events.data(), int(events.size()), -1);
            for (int at = 0; at < count; ++at)
                serve(events[static_cast<std::size_t>(at)]);
        }
    }

private:
    void watch(const Descriptor &what, std::uint32_t events, int operation) {
        epoll_event event{.events = events, .data = {.fd = what.number()}};
        ::epoll_ctl(m_ready.number(), operation, what.number(), &event);
    }
    std::shared_ptr<Peer> &at(int number) {
        const auto place = static_cast<std::size_t>(number);
        if (m_peers.size() <= place)
            m_peers.resize(place + 1);
        return m_peers[place];
    }

    void serve(const epoll_event &event) {
        if (event.data.fd == m_listener.number())
            return accept();
        const auto peer = at(event.data.fd);
        if (!peer)
            return;
        if (event.data.fd == peer->timer.number())
            return beat(*peer);
        if ((event.events & EPOLLOUT) != 0)
            flush(*peer);
        if ((event.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0)
            receive(*peer);
    }

    void accept() {
        for (int number; (number = ::accept4(m_listener.number(), nullptr, nullptr, SOCK_NONBLOCK)) >= 0;) {
            const int atOnce = 1;
            ::setsockopt(number, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
            at(number) = std::make_shared<Peer>(number);
            watch(at(number)->socket, EPOLLIN, EPOLL_CTL_ADD);
        }
    }

    void drop(Peer &peer) {
        if (peer.timer.isOpen())
            at(peer.timer.number()).reset();
        at(peer.socket.number()).reset();
    }

    void send(Peer &peer, QByteArrayView bytes) {
        if (peer.out.isEmpty()) {
            const auto count =
                ::send(peer.socket.number(), bytes.data(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL);
            bytes = bytes.sliced(std::max<ssize_t>(0, count));
            if (bytes.isEmpty())
                return;
            watch(peer.socket, EPOLLIN | EPOLLOUT, EPOLL_CTL_MOD);
        }
        peer.out.append(bytes);
    }

    void flush(Peer &peer) {
        const auto count =
            ::send(peer.socket.number(), peer.out.data(), static_cast<std::size_t>(peer.out.size()), MSG_NOSIGNAL);
        peer.out.remove(0, std::max<ssize_t>(0, count));
        if (peer.out.isEmpty())
            watch(peer.socket, EPOLLIN, EPOLL_CTL_MOD);
    }

    void receive(Peer &peer) {
        const auto count = ::recv(peer.socket.number(), m_buffer.data(), m_buffer.size(), 0);
        if (count <= 0)
            return count < 0 && errno == EAGAIN ? void() : drop(peer);
        if (peer.open && peer.in.isEmpty())
            return keepRest(peer, {m_buffer.data(), static_cast<std::size_t>(count)});
        peer.in.append(m_buffer.data(), count);
        if (!peer.open)
            return upgrade(peer);
        auto in = std::exchange(peer.in, {});
        keepRest(peer, {in.data(), static_cast<std::size_t>(in.size())});
    }

    void upgrade(Peer &peer) {
        constexpr QByteArrayView KEY = "Sec-WebSocket-Key: ";
        if (!peer.in.endsWith("\r\n\r\n"))
            return;
        const auto key = peer.in.sliced(peer.in.indexOf(KEY) + KEY.size(), 24) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
        send(peer, "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                   "Sec-WebSocket-Accept: " +
                       QCryptographicHash::hash(key, QCryptographicHash::Sha1).toBase64() + "\r\n\r\n");
        peer.echoes = !peer.in.startsWith("GET /media");
        peer.open = true;
        peer.in.clear();
    }

    void keepRest(Peer &peer, std::span<char> bytes) {
        m_reply.resize(0);
        for (auto head = readFrameHead(bytes); head; head = readFrameHead(bytes)) {
            const auto size = static_cast<std::size_t>(head->size);
            if (bytes.size() < size + head->length)
                break;
            const auto payload = bytes.subspan(size, head->length);
            applyMask(payload, head->mask.value_or(FrameMask()));
            if (head->opcode == Opcode::close)
                return drop(peer);
            take(peer, *head, {payload.data(), static_cast<qsizetype>(payload.size())});
            bytes = bytes.subspan(size + head->length);
        }
        peer.in.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
        if (!m_reply.isEmpty())
            send(peer, m_reply);
    }

    void take(Peer &peer, const FrameHead &head, QByteArrayView text) {
        if (peer.echoes)
            m_reply.append(WrittenHead(head.opcode, head.length)).append(text);
        else if (!peer.timer.isOpen() && text.contains(R"("event":"start")"))
            start(peer, text);
    }

    void start(Peer &peer, QByteArrayView text) {
        const auto text160 = R"({"event":"media","streamSid":")" + text.sliced(text.indexOf("MZ"), 34).toByteArray() +
                             R"(","media":{"payload":")" + QByteArray(160, '\x7f').toBase64() + R"("}})";
        peer.sound =
            QByteArrayView(WrittenHead(Opcode::text, static_cast<std::uint64_t>(text160.size()))).toByteArray() +
            text160;
        peer.timer = Descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK));
        const itimerspec beats{{0, 20'000'000}, {0, 20'000'000}};
        ::timerfd_settime(peer.timer.number(), 0, &beats, nullptr);
        at(peer.timer.number()) = std::shared_ptr(at(peer.socket.number()));
        watch(peer.timer, EPOLLIN, EPOLL_CTL_ADD);
    }

    void beat(Peer &peer) {
        std::uint64_t due = 0;
        if (::read(peer.timer.number(), &due, sizeof due) == sizeof due)
            for (; due > 0; --due)
                send(peer, peer.sound);
    }

    Descriptor m_ready;
    Descriptor m_listener;
    std::vector<std::shared_ptr<Peer>> m_peers; // by the numbers of their descriptors
    std::array<char, 1 << 20> m_buffer;
    QByteArray m_reply;
};

} // namespace

int main() {
    bench::raiseDescriptorLimit();
    std::make_unique<Server>()->run();
}
