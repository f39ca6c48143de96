// A client that speaks raw TCP to a server of this computer, and so can also speak wrongly. Its waits have a guard. One
// thread.
#pragma once
#include "base/Descriptor.h"
#include "net/Frame.h"
#include "tests/support/Wait.h"

#include <algorithm>
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace ombru::test {

class TcpPeer {
public:
    // Port 0 does not connect yet. `from`: one of this computer's addresses.
    explicit TcpPeer(quint16 port = 0, int receiveBuffer = 0, const char *from = nullptr)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receiveBuffer > 0)
            ::setsockopt(m_socket.number(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        const int atOnce = 1;
        ::setsockopt(m_socket.number(), IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
        const timeval guard{GUARD_MILLISECONDS / 1000, 0};
        ::setsockopt(m_socket.number(), SOL_SOCKET, SO_RCVTIMEO, &guard, sizeof guard);
        ::setsockopt(m_socket.number(), SOL_SOCKET, SO_SNDTIMEO, &guard, sizeof guard);
        if (from)
            bind(from);
        if (port != 0)
            connect(port);
    }

    void connect(quint16 port) { ASSERT_TRUE(tryConnect(port)) << qt_error_string().toStdString(); }
    bool tryConnect(quint16 port, const char *host = "127.0.0.1") {
        const auto address = addressOf(host, port);
        return ::connect(m_socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }

    // False when the other side no longer takes anything.
    bool write(QByteArrayView bytes) {
        while (!bytes.isEmpty()) {
            const auto count =
                ::send(m_socket.number(), bytes.data(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL);
            if (count <= 0)
                return false;
            bytes = bytes.sliced(count);
        }
        return true;
    }

    // As many as asked for; fewer when the other side has ended before, or says nothing for so long that it is a
    // failure.
    QByteArray read(qsizetype count) {
        QByteArray bytes(count, Qt::Uninitialized);
        qsizetype got = 0;
        while (got < count) {
            const auto some = ::recv(m_socket.number(), bytes.data() + got, static_cast<std::size_t>(count - got), 0);
            if (some < 0 && errno == EAGAIN)
                ADD_FAILURE() << "nothing came";
            if (some <= 0)
                break;
            got += some;
        }
        return bytes.first(got);
    }
    QByteArray readSome() { // what is there; waits for the first
        QByteArray bytes(1 << 16, Qt::Uninitialized);
        const auto count = ::recv(m_socket.number(), bytes.data(), static_cast<std::size_t>(bytes.size()), 0);
        EXPECT_FALSE(count < 0 && errno == EAGAIN) << "nothing came";
        return bytes.first(std::max<qsizetype>(0, count));
    }
    QByteArray readToEnd() {
        QByteArray all;
        for (auto some = readSome(); !some.isEmpty(); some = readSome())
            all += some;
        return all;
    }
    bool hasMore() const { // right now; also true at the end
        pollfd readable{m_socket.number(), POLLIN, 0};
        return ::poll(&readable, 1, 0) == 1;
    }

    void finishSending() { ::shutdown(m_socket.number(), SHUT_WR); }
    void reset() { // as a crash would: the other side learns it by an error
        const linger none{1, 0};
        ::setsockopt(m_socket.number(), SOL_SOCKET, SO_LINGER, &none, sizeof none);
        m_socket.close();
    }
    void close() { m_socket.close(); }

    quint16 ownPort() const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(m_socket.number(), reinterpret_cast<sockaddr *>(&address), &size);
        return ntohs(address.sin_port);
    }

private:
    static sockaddr_in addressOf(const char *host, quint16 port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        ::inet_pton(AF_INET, host, &address.sin_addr);
        return address;
    }
    void bind(const char *host) {
        const auto address = addressOf(host, 0);
        ASSERT_EQ(::bind(m_socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }

    Descriptor m_socket;
};

constexpr FrameMask MASK = {'\x37', '\xfa', '\x21', '\x3d'};

// A frame as a client sends it.
inline QByteArray masked(Opcode opcode, QByteArray payload, bool last = true) {
    auto bytes = QByteArrayView(WrittenHead(opcode, static_cast<std::uint64_t>(payload.size()))).toByteArray();
    bytes[0] = static_cast<char>(bytes[0] & (last ? 0xFF : 0x7F));
    bytes[1] = static_cast<char>(bytes[1] | 0x80);
    bytes.append(MASK.data(), MASK.size());
    applyMask({payload.data(), static_cast<std::size_t>(payload.size())}, MASK);
    return bytes + payload;
}

} // namespace ombru::test
