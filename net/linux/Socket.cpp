#include "net/Socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// How long a peer may be silent before it is asked whether it is there, and when it is given up.
constexpr int SILENT_SECONDS = 60;
constexpr int ASKED_EVERY_SECONDS = 15;
constexpr int GONE_SECONDS = 120;

// An address of either family as the system's calls take it.
struct Address {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;

    sockaddr *get() { return reinterpret_cast<sockaddr *>(&storage); }
    sa_family_t family() const { return storage.ss_family; }
    const sockaddr_in &four() const { return reinterpret_cast<const sockaddr_in &>(storage); }
    const sockaddr_in6 &six() const { return reinterpret_cast<const sockaddr_in6 &>(storage); }
};

Address addressOf(const Descriptor &socket) {
    Address address;
    ::getsockname(socket.number(), address.get(), &address.size);
    return address;
}

std::uint16_t portOf(const Address &address) {
    return ntohs(address.family() == AF_INET6 ? address.six().sin6_port : address.four().sin_port);
}

// A peer that came by IPv4 to a socket of both families is shown by its own address.
QString hostOf(const Address &address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.family() != AF_INET6)
        ::inet_ntop(AF_INET, &address.four().sin_addr, text.data(), text.size());
    else if (IN6_IS_ADDR_V4MAPPED(&address.six().sin6_addr))
        ::inet_ntop(AF_INET, address.six().sin6_addr.s6_addr + 12, text.data(), text.size());
    else
        ::inet_ntop(AF_INET6, &address.six().sin6_addr, text.data(), text.size());
    return QString::fromLatin1(text.data());
}

Address wanted(sa_family_t family, Interface interface, std::uint16_t port) {
    Address address;
    if (family == AF_INET6) {
        auto &six = reinterpret_cast<sockaddr_in6 &>(address.storage);
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(port);
        address.size = sizeof six;
    } else {
        auto &four = reinterpret_cast<sockaddr_in &>(address.storage);
        four.sin_family = AF_INET;
        four.sin_port = htons(port);
        four.sin_addr.s_addr = htonl(interface == Interface::any ? INADDR_ANY : INADDR_LOOPBACK);
        address.size = sizeof four;
    }
    return address;
}

void setOption(const Descriptor &socket, int level, int option, int value) {
    ::setsockopt(socket.number(), level, option, &value, sizeof value);
}

Descriptor streamSocket(int family) {
    return Descriptor(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// Those that are accepted have the same options, without a call to the system for each.
void setOptions(const Descriptor &socket) {
    setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1); // what is sent is whole; waiting for more only delays it
    // A peer whose computer is gone says nothing, and must not stay for ever: it is asked.
    setOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, SILENT_SECONDS);
    setOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, ASKED_EVERY_SECONDS);
    setOption(socket, IPPROTO_TCP, TCP_KEEPCNT, (GONE_SECONDS - SILENT_SECONDS) / ASKED_EVERY_SECONDS);
    setOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, 1000 * GONE_SECONDS); // the same while it is sent something
}

template <class Number>
SystemResult<qsizetype> counted(Number count) {
    if (count < 0)
        return std::unexpected(errno == EINTR ? EAGAIN : errno);
    return static_cast<qsizetype>(count);
}

} // namespace

SystemResult<Descriptor> makeListeningSocket(Interface interface) {
    Descriptor socket;
    if (interface == Interface::any) {
        socket = streamSocket(AF_INET6);
        setOption(socket, IPPROTO_IPV6, IPV6_V6ONLY, 0);
    }
    if (!socket.isOpen())
        socket = streamSocket(AF_INET); // also where there is no IPv6
    if (!socket.isOpen())
        return std::unexpected(errno);
    setOption(socket, SOL_SOCKET, SO_REUSEADDR, 1); // connections of an earlier run may still be ending
    setOptions(socket);
    return socket;
}

SystemResult<std::uint16_t> listenOn(const Descriptor &socket, Interface interface, std::uint16_t port) {
    auto address = wanted(addressOf(socket).family(), interface, port);
    if (::bind(socket.number(), address.get(), address.size) != 0 || ::listen(socket.number(), SOMAXCONN) != 0)
        return std::unexpected(errno);
    return portOf(addressOf(socket));
}

SystemResult<Accepted> acceptOne(const Descriptor &listening) {
    Address peer;
    Descriptor socket(::accept4(listening.number(), peer.get(), &peer.size, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket.isOpen())
        return std::unexpected(errno);
    return Accepted{std::move(socket), hostOf(peer) + u':' + QString::number(portOf(peer))};
}

void prepareConnection(const Descriptor &socket) {
    ::fcntl(socket.number(), F_SETFL, ::fcntl(socket.number(), F_GETFL) | O_NONBLOCK);
    setOptions(socket);
}

bool isOutOfDescriptors(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

std::size_t mostDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

SystemResult<qsizetype> receiveInto(const Descriptor &socket, std::span<char> buffer) {
    return counted(::recv(socket.number(), buffer.data(), buffer.size(), 0));
}

SystemResult<qsizetype> sendParts(const Descriptor &socket, std::span<const QByteArrayView> parts) {
    Q_ASSERT(parts.size() <= MOST_PARTS);
    std::array<iovec, MOST_PARTS> pieces;
    std::ranges::transform(parts, pieces.begin(), [](QByteArrayView part) {
        return iovec{const_cast<char *>(part.data()), static_cast<std::size_t>(part.size())};
    });
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = parts.size();
    return counted(::sendmsg(socket.number(), &message, MSG_NOSIGNAL));
}

void finishSending(const Descriptor &socket) {
    ::shutdown(socket.number(), SHUT_WR);
}

Failure networkFailure(int error) {
    return {u"network"_s, error, QString::fromLocal8Bit(std::strerror(error))};
}

} // namespace ombru
