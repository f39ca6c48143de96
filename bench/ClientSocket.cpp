#include "bench/ClientSocket.h"

#include "bench/Race.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace ombru::bench {

namespace {

constexpr FrameMask MASK = {'\x37', '\xfa', '\x21', '\x3d'};
constexpr QByteArrayView ACCEPTED = "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n";
constexpr QByteArrayView END = "\r\n\r\n"; // of a head

} // namespace

QByteArray masked(QByteArray text, Opcode opcode) {
    const WrittenHead head(opcode, static_cast<std::uint64_t>(text.size()));
    auto bytes = QByteArrayView(head).toByteArray();
    bytes[1] = static_cast<char>(bytes[1] | 0x80);
    bytes.append(MASK.data(), MASK.size());
    applyMask({text.data(), static_cast<std::size_t>(text.size())}, MASK);
    return bytes + text;
}

void write(const Descriptor &socket, QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const auto count = ::send(socket.number(), bytes.data(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL);
        if (count <= 0)
            fail("a client cannot send");
        bytes = bytes.sliced(count);
    }
}

Descriptor connected(std::uint16_t port) {
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int atOnce = 1;
    ::setsockopt(socket.number(), IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket.number(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        fail("a client cannot connect");
    return socket;
}

QByteArray request(const QByteArray &path, const QByteArray &headers) {
    return "GET " + path +
           " HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n" +
           headers + "\r\n";
}

QByteArray awaitAnswer(const Descriptor &socket) {
    std::array<char, 1024> buffer;
    QByteArray answer;
    while (!answer.contains(END)) {
        const auto count = ::recv(socket.number(), buffer.data(), buffer.size(), 0);
        if (count <= 0)
            fail("a client is not let in");
        answer.append(buffer.data(), count);
    }
    if (!answer.startsWith("HTTP/1.1 101 ") || !answer.contains(ACCEPTED))
        fail("a client is refused: " + answer.toStdString());
    return answer.sliced(answer.indexOf(END) + END.size());
}

} // namespace ombru::bench
