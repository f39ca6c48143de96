#include "bench/EventReceiver.h"

#include "bench/Race.h"

#include <QCryptographicHash>

#include <arpa/inet.h>
#include <sys/socket.h>

namespace ombru::bench {
namespace {

constexpr std::chrono::seconds PATIENCE(60);

void upgrade(const Descriptor &client) {
    constexpr QByteArrayView KEY = "Sec-WebSocket-Key: ";
    QByteArray head;
    for (char byte = 0; !head.endsWith("\r\n\r\n") && ::recv(client.number(), &byte, 1, 0) == 1;)
        head.append(byte);
    const auto key = head.sliced(head.indexOf(KEY) + KEY.size(), 24) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    const auto reply = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                       "Sec-WebSocket-Accept: " +
                       QCryptographicHash::hash(key, QCryptographicHash::Sha1).toBase64() + "\r\n\r\n";
    ::send(client.number(), reply.data(), static_cast<std::size_t>(reply.size()), MSG_NOSIGNAL);
}

} // namespace

EventReceiver::EventReceiver() : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *name = reinterpret_cast<sockaddr *>(&address);
    if (::bind(m_listener.number(), name, size) != 0 || ::listen(m_listener.number(), 1) != 0)
        fail("the receiver does not listen");
    ::getsockname(m_listener.number(), name, &size);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
}

EventReceiver::~EventReceiver() {
    ::shutdown(m_listener.number(), SHUT_RDWR);
    {
        const std::lock_guard lock(m_mutex);
        ::shutdown(m_client.number(), SHUT_RDWR);
    }
    m_thread.join();
}

const std::vector<Span> &EventReceiver::waitFor(std::size_t count) {
    std::unique_lock lock(m_mutex);
    if (!m_more.wait_for(lock, PATIENCE, [&] { return m_spans.size() >= count; }))
        fail("events are missing: " + std::to_string(count - m_spans.size()));
    return m_spans;
}

void EventReceiver::serve() {
    Descriptor client(::accept4(m_listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
    const int number = client.number();
    upgrade(client);
    {
        const std::lock_guard lock(m_mutex);
        m_client = std::move(client);
    }
    FrameReader frames;
    std::array<char, 1 << 16> bytes;
    for (ssize_t count = 0; (count = ::recv(number, bytes.data(), bytes.size(), 0)) > 0;) {
        const auto now = std::chrono::steady_clock::now();
        frames.append({bytes.data(), count});
        for (auto frame = frames.next(); frame && *frame; frame = frames.next())
            if ((*frame)->opcode == Opcode::text)
                take((*frame)->payload, now);
    }
}

void EventReceiver::take(QByteArrayView text, Moment now) {
    constexpr QByteArrayView BEFORE = R"("text":")";
    const auto at = text.indexOf(BEFORE);
    if (at < 0)
        return;
    const auto rest = text.sliced(at + BEFORE.size());
    const Span sent(rest.first(rest.indexOf('"')).toLongLong());
    const std::lock_guard lock(m_mutex);
    if (sent.count() > 0)
        m_spans.push_back(now.time_since_epoch() - sent);
    m_more.notify_all();
}

} // namespace ombru::bench
