#include "net/Stream.h"

#include "net/Transport.h"

#include <algorithm>
#include <cerrno>
#include <numeric>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration PATIENCE = 2s;      // with a peer that does not end after us
constexpr qsizetype SHARE = 1 << 20;          // bytes that one stream sends before others have their turn
constexpr qsizetype MOST_TOGETHER = 64 << 10; // bytes of small messages that wait as one

qsizetype sizeOf(std::initializer_list<QByteArrayView> parts) {
    return std::accumulate(parts.begin(), parts.end(), qsizetype(0),
                           [](qsizetype sum, QByteArrayView part) { return sum + part.size(); });
}

} // namespace

Stream::Stream(std::weak_ptr<Transport> transport, std::shared_ptr<Readiness> readiness, std::uint64_t key,
               Accepted accepted)
    : m_transport(std::move(transport)), m_readiness(std::move(readiness)), m_key(key),
      m_peer(std::move(accepted.peer)), m_socket(std::move(accepted.socket)) {}

void Stream::start(Listener listener, qsizetype most) {
    m_listener = std::move(listener);
    m_most = most;
    const std::lock_guard lock(m_mutex);
    m_reads = true;
    m_watched = {.read = true};
    if (!m_readiness->add(m_socket, m_key, m_watched))
        post([self = shared_from_this()] { self->end(networkFailure(ENOMEM)); });
}

void Stream::receiveAtMost(qsizetype bytes) {
    m_most = bytes;
}

void Stream::keepAtMost(qsizetype unsent) {
    const std::lock_guard lock(m_mutex);
    m_mostUnsent = unsent;
}

qsizetype Stream::unsent() const {
    const std::lock_guard lock(m_mutex);
    return m_unsent;
}

void Stream::receive(bool on) {
    const std::lock_guard lock(m_mutex);
    if (m_ended || m_cancelled || !m_socket.isOpen())
        return;
    m_reads = on;
    watch();
}

void Stream::post(Job job) {
    if (const auto transport = m_transport.lock())
        transport->queue().post(std::move(job));
}

// --- Sending

void Stream::send(std::initializer_list<QByteArrayView> parts, Sent sent) {
    auto fate = Fate::dropped;
    Messages dropped;
    {
        const std::lock_guard lock(m_mutex);
        fate = take(parts, sent);
        if (fate == Fate::tooMuch)
            dropped = breakOff();
    }
    if (fate == Fate::tooMuch)
        post([self = shared_from_this()] {
            self->end(Failure{u"network"_s, ENOBUFS, u"%1 does not read what it is sent."_s.arg(self->m_peer)});
        });
    tell(std::move(dropped), false);
    if (sent)
        post([sent = std::move(sent), gone = fate == Fate::gone]() mutable { sent(gone); });
}

Stream::Fate Stream::take(std::initializer_list<QByteArrayView> parts, Sent &sent) {
    if (m_broken || m_cancelled)
        return Fate::dropped;
    const auto size = sizeOf(parts);
    if (!m_waiting.empty()) {
        if (m_unsent - m_waiting.front().left() + size > m_mostUnsent)
            return Fate::tooMuch;
        keep(parts, 0, std::exchange(sent, nullptr));
        return Fate::waits;
    }
    const auto gone = sendParts(m_socket, parts);
    m_broken = !gone && gone.error() != EAGAIN;
    if (m_broken)
        return Fate::dropped;
    if (gone == size)
        return Fate::gone;
    keep(parts, gone.value_or(0), std::exchange(sent, nullptr));
    watch();
    return Fate::waits;
}

void Stream::keep(std::initializer_list<QByteArrayView> parts, qsizetype gone, Sent sent) {
    const auto size = sizeOf(parts);
    m_unsent += size - gone;
    const bool together =
        !m_waiting.empty() && !m_waiting.back().sent && m_waiting.back().bytes.size() + size <= MOST_TOGETHER;
    if (!together)
        m_waiting.emplace_back();
    auto &message = m_waiting.back();
    message.sent = std::move(sent);
    message.bytes.reserve(message.bytes.size() + size - gone);
    for (auto part : parts) {
        const auto skipped = std::min(gone, part.size());
        gone -= skipped;
        message.bytes.append(part.sliced(skipped));
    }
}

Stream::Messages Stream::writeWaiting() {
    Messages gone;
    qsizetype written = 0;
    while (!m_waiting.empty() && written < SHARE) {
        auto &first = m_waiting.front();
        const QByteArrayView left = QByteArrayView(first.bytes).sliced(first.gone);
        const auto count = sendParts(m_socket, {&left, 1});
        m_broken = !count && count.error() != EAGAIN;
        if (!count)
            break;
        written += *count;
        m_unsent -= *count;
        first.gone += *count;
        if (first.left() > 0)
            break;
        gone.push_back(std::move(first));
        m_waiting.pop_front();
    }
    return gone;
}

Stream::Messages Stream::breakOff() {
    m_broken = true;
    m_unsent = 0;
    return std::exchange(m_waiting, {});
}

void Stream::watch() {
    const Readiness::Wish wish{m_reads, !m_waiting.empty()};
    if (wish != m_watched)
        m_readiness->change(m_socket, m_key, m_watched = wish);
}

void Stream::tell(Messages messages, bool sent) {
    for (auto &message : messages)
        if (message.sent)
            post([told = std::move(message.sent), sent]() mutable { told(sent); });
}

// --- On the queue

void Stream::ready(const Readiness::Event &event, std::span<char> buffer) {
    if (event.writable)
        flush();
    if (event.readable)
        receive(buffer);
}

void Stream::flush() {
    Messages gone;
    Messages dropped;
    {
        const std::lock_guard lock(m_mutex);
        if (!m_socket.isOpen())
            return;
        gone = writeWaiting();
        if (m_broken)
            dropped = breakOff();
        watch();
    }
    tell(std::move(gone), true);
    tell(std::move(dropped), false);
    if (m_cancelled)
        closeWhenDone();
}

void Stream::receive(std::span<char> buffer) {
    if (!m_socket.isOpen())
        return;
    if (m_ended) // and still told of: it has been hung up as well
        return hungUp();
    const auto count = receiveInto(m_socket, buffer.first(std::min(buffer.size(), static_cast<std::size_t>(m_most))));
    if (!count && count.error() != EAGAIN)
        return end(networkFailure(count.error()));
    if (count == 0)
        return end({});
    if (!count || m_cancelled)
        return;
    m_listener.onReceived({buffer.data(), *count});
    if (m_cancelled)
        windDown();
}

void Stream::end(const std::optional<Failure> &failure) {
    if (std::exchange(m_ended, true))
        return;
    if (!m_cancelled)
        m_listener.onEnd(failure);
    if (m_cancelled)
        windDown();
    const std::lock_guard lock(m_mutex);
    m_reads = false;
    if (m_socket.isOpen())
        watch();
}

void Stream::hungUp() {
    Messages dropped;
    {
        const std::lock_guard lock(m_mutex);
        m_readiness->remove(m_socket);
        dropped = breakOff();
    }
    tell(std::move(dropped), false);
    if (m_cancelled)
        closeWhenDone();
}

void Stream::cancel() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_cancelled.exchange(true))
            return;
    }
    post([self = shared_from_this()] { self->windDown(); });
}

void Stream::abort() {
    m_cancelled = true;
    post([self = shared_from_this()] { self->close(); }); // it may be in the middle of telling
}

// What the peer still sends is read and dropped until it has ended, too: closing with something unread would be a
// reset, which can overtake what was sent last.
void Stream::windDown() {
    m_listener = {};
    readOn();
    closeWhenDone();
    const auto transport = m_transport.lock();
    if (!m_socket.isOpen() || !transport || m_patience.pending())
        return;
    m_patience = transport->queue().after(PATIENCE, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->close();
    });
    transport->endsSoon(m_key);
}

void Stream::readOn() {
    const std::lock_guard lock(m_mutex);
    if (m_ended || m_reads || !m_socket.isOpen())
        return;
    m_reads = true;
    watch();
}

void Stream::closeWhenDone() {
    {
        const std::lock_guard lock(m_mutex);
        if (!m_socket.isOpen() || !m_waiting.empty())
            return;
        if (!m_ended && !std::exchange(m_finished, true))
            finishSending(m_socket);
    }
    if (m_ended)
        close();
}

void Stream::close() {
    Messages dropped;
    {
        const std::lock_guard lock(m_mutex);
        if (!m_socket.isOpen())
            return;
        m_readiness->remove(m_socket);
        m_socket.close();
        dropped = breakOff();
    }
    m_cancelled = true;
    m_listener = {};
    m_patience.cancel();
    tell(std::move(dropped), false);
    if (const auto transport = m_transport.lock())
        transport->forget(m_key);
}

} // namespace ombru
