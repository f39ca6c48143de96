#include "service/live/Channel.h"

#include <QtEndian>

#include <algorithm>
#include <array>

namespace ombru {

namespace {

constexpr qsizetype MOST_AT_A_TIME = 256 << 10; // bytes received
constexpr qsizetype LONGEST_CONTROL = 125;      // bytes of a ping

} // namespace

Channel::Channel(std::shared_ptr<Stream> stream, qsizetype kept)
    : m_stream(std::move(stream)), m_kept(kept), m_frames(static_cast<std::uint64_t>(kept)) {}

void Channel::start(Listener listener) {
    m_listener = std::move(listener);
    // The stream keeps this channel, until it is cancelled.
    const auto self = shared_from_this();
    m_stream->start({.onReceived = [self](QByteArrayView bytes) { self->take(bytes); },
                     .onEnd = [self](const std::optional<Failure> &) { self->close(GOING_AWAY); }},
                    MOST_AT_A_TIME);
}

void Channel::take(QByteArrayView bytes) {
    if (m_closed)
        return;
    m_lastHeard = Clock::now();
    m_frames.append(bytes);
    while (!m_closed) {
        const auto frame = m_frames.next();
        if (!frame)
            return close(PROTOCOL_ERROR);
        if (!*frame)
            return;
        handle(**frame);
    }
}

void Channel::handle(const Frame &frame) {
    switch (frame.opcode) {
    case Opcode::ping:
        return send(Opcode::pong, frame.payload.first(std::min(frame.payload.size(), LONGEST_CONTROL)));
    case Opcode::pong:
        return;
    case Opcode::close:
        return close(NORMAL);
    case Opcode::text:
    case Opcode::binary:
        if (m_kind)
            return close(PROTOCOL_ERROR);
        m_kind = frame.opcode;
        return addPart(frame);
    case Opcode::continuation:
        return m_kind ? addPart(frame) : close(PROTOCOL_ERROR);
    }
    close(PROTOCOL_ERROR);
}

void Channel::addPart(const Frame &frame) {
    const auto room = m_cut > 0 ? 0 : std::min(frame.payload.size(), m_kept - m_parts.size());
    m_cut += frame.payload.size() - room + static_cast<qint64>(frame.cut);
    const bool whole = frame.last && m_parts.isEmpty();
    if (!whole)
        m_parts.append(frame.payload.first(room));
    if (!frame.last)
        return;
    const auto parts = std::exchange(m_parts, {});
    const bool isText = *std::exchange(m_kind, std::nullopt) == Opcode::text;
    m_listener.onMessage({isText, whole ? frame.payload.first(room) : QByteArrayView(parts), std::exchange(m_cut, 0)});
}

void Channel::send(Opcode opcode, QByteArrayView payload) {
    if (m_closed)
        return;
    const WrittenHead head(opcode, static_cast<std::uint64_t>(payload.size()));
    const auto size = QByteArrayView(head).size() + payload.size();
    m_unsent += size;
    m_stream->send({head, payload}, [weak = weak_from_this(), size](bool) {
        if (const auto self = weak.lock())
            self->gone(size);
    });
}

void Channel::gone(qsizetype bytes) {
    m_unsent -= bytes;
    if (m_unsent == 0 && !m_closed && m_listener.onDrained)
        m_listener.onDrained();
}

void Channel::read(bool on) {
    if (std::exchange(m_reading, on) == on)
        return;
    m_lastHeard = Clock::now();
    m_stream->receive(on);
}

void Channel::close(Code code) {
    if (m_closed)
        return;
    std::array<char, 2> payload;
    qToBigEndian(static_cast<std::uint16_t>(code), payload.data());
    send(Opcode::close, payload);
    m_closed = true;
    m_stream->cancel();
    m_stream->post([self = shared_from_this()] {
        const auto listener = std::exchange(self->m_listener, {});
        if (listener.onClose)
            listener.onClose();
    });
}

} // namespace ombru
