#include "bench/Least.h"

#include "bench/Race.h"

#include <QCryptographicHash>

#include <arpa/inet.h>
#include <cstdio>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace ombru::bench {

Least::Least() : m_ready(::epoll_create1(0)), m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *name = reinterpret_cast<sockaddr *>(&address);
    if (::bind(m_listener.number(), name, size) != 0 || ::listen(m_listener.number(), SOMAXCONN) != 0)
        fail("the least server does not listen");
    ::getsockname(m_listener.number(), name, &size);
    watch(m_listener, EPOLLIN, EPOLL_CTL_ADD);
    std::printf("%d\n", int(ntohs(address.sin_port)));
    std::fflush(stdout);
}

void Least::run() {
    std::array<epoll_event, 512> events;
    while (true) {
        const int count = ::epoll_wait(m_ready.number(), events.data(), int(events.size()), -1);
        for (int at = 0; at < count; ++at) {
            const auto &event = events[static_cast<std::size_t>(at)];
            serve(event.data.fd, event.events);
        }
    }
}

void Least::watch(const Descriptor &what, std::uint32_t events, int operation) {
    epoll_event event{.events = events, .data = {.fd = what.number()}};
    ::epoll_ctl(m_ready.number(), operation, what.number(), &event);
}

std::shared_ptr<Least::Peer> &Least::at(int number) {
    const auto place = static_cast<std::size_t>(number);
    if (m_peers.size() <= place)
        m_peers.resize(place + 1);
    return m_peers[place];
}

void Least::serve(int number, std::uint32_t events) {
    if (number == m_listener.number())
        return accept();
    const auto peer = at(number);
    if (!peer)
        return;
    if (number != peer->socket.number())
        return woken(peer, number);
    if ((events & EPOLLOUT) != 0)
        flush(*peer);
    if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0)
        receive(*peer);
}

void Least::accept() {
    for (int number; (number = ::accept4(m_listener.number(), nullptr, nullptr, SOCK_NONBLOCK)) >= 0;) {
        const int atOnce = 1;
        ::setsockopt(number, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
        at(number) = made(number);
        watch(at(number)->socket, EPOLLIN, EPOLL_CTL_ADD);
    }
}

void Least::drop(Peer &peer) {
    gone(peer);
    at(peer.socket.number()).reset();
}

void Least::send(Peer &peer, QByteArrayView bytes) {
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

void Least::flush(Peer &peer) {
    const auto count =
        ::send(peer.socket.number(), peer.out.data(), static_cast<std::size_t>(peer.out.size()), MSG_NOSIGNAL);
    peer.out.remove(0, std::max<ssize_t>(0, count));
    if (peer.out.isEmpty())
        watch(peer.socket, EPOLLIN, EPOLL_CTL_MOD);
}

void Least::receive(Peer &peer) {
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

void Least::upgrade(Peer &peer) {
    constexpr QByteArrayView KEY = "Sec-WebSocket-Key: ";
    if (!peer.in.endsWith("\r\n\r\n"))
        return;
    const auto key = peer.in.sliced(peer.in.indexOf(KEY) + KEY.size(), 24) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    send(peer, "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Accept: " +
                   QCryptographicHash::hash(key, QCryptographicHash::Sha1).toBase64() + "\r\n\r\n");
    peer.open = true;
    opened(peer, std::exchange(peer.in, {}));
}

void Least::keepRest(Peer &peer, std::span<char> bytes) {
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

} // namespace ombru::bench
