#include "voice/WSConnection.h"

#include "base/Text.h"
#include "voice/Upgrade.h"

namespace ombru {

namespace {

constexpr qsizetype MOST_OF_A_HANDSHAKE = 65'536; // bytes received at a time
constexpr qsizetype MOST_OF_FRAMES = 1'048'576;
constexpr QByteArrayView NORMAL_CLOSURE = "\x03\xE8";

} // namespace

WSConnection::WSConnection(std::shared_ptr<Stream> stream) : m_stream(std::move(stream)) {}

QString WSConnection::peer() const {
    return m_stream->peer();
}

void WSConnection::start(const QString &token, const QSet<QString> &routes, OnReady onReady) {
    m_handshake = std::make_unique<Handshake>(token, routes, std::move(onReady));
    // The stream keeps this connection, until it is cancelled.
    const auto self = shared_from_this();
    m_stream->start({.onReceived = [self](QByteArrayView bytes) { self->received(bytes); },
                     .onEnd = [self](const std::optional<Failure> &) { self->ended(); }},
                    MOST_OF_A_HANDSHAKE);
}

void WSConnection::received(QByteArrayView bytes) {
    switch (m_phase) {
    case Phase::handshake:
        return shakeHands(bytes);
    case Phase::refused:
        return;
    case Phase::open:
        m_frames.append(bytes);
        readFrames();
    }
}

void WSConnection::ended() {
    if (m_phase == Phase::open)
        close();
    else
        drop();
}

void WSConnection::drop() {
    m_phase = Phase::refused;
    m_handshake.reset();
    m_stream->cancel();
}

// --- The handshake

void WSConnection::shakeHands(QByteArrayView bytes) {
    switch (m_handshake->reader.append(bytes)) {
    case HeadReader::State::open:
        return;
    case HeadReader::State::tooLong:
        return drop();
    case HeadReader::State::whole:
        answer();
    }
}

void WSConnection::answer() {
    const auto handshake = std::move(m_handshake);
    const auto head = parseHead(handshake->reader.head());
    m_path = head.path;
    const auto reply = replyToUpgrade(head, handshake->token, handshake->routes);
    m_phase = reply.accepted ? Phase::open : Phase::refused;
    if (!reply.accepted)
        return m_stream->send({reply.bytes}, [stream = m_stream](bool) { stream->cancel(); });
    m_stream->send({reply.bytes});
    m_stream->receiveAtMost(MOST_OF_FRAMES);
    handshake->onReady(shared_from_this());
    m_frames.append(handshake->reader.rest());
    readFrames();
}

// --- Frames

void WSConnection::readFrames() {
    while (!m_closed) {
        const auto frame = m_frames.next();
        if (!frame)
            return close();
        if (!*frame)
            return;
        handle(**frame);
    }
}

void WSConnection::handle(const Frame &frame) {
    switch (frame.opcode) {
    case Opcode::ping:
        return sendFrame(Opcode::pong, frame.payload);
    case Opcode::pong:
        return;
    case Opcode::close:
        return close();
    default:
        addPart(frame);
    }
}

// Binary, reserved and stray frames are taken as text.
void WSConnection::addPart(const Frame &frame) {
    if (m_parts.size() + frame.payload.size() > static_cast<qsizetype>(LARGEST_FRAME))
        return close();
    if (!frame.last) {
        m_parts.append(frame.payload);
        return;
    }
    QString text;
    if (m_parts.isEmpty())
        text = repairedUtf8(frame.payload);
    else
        text = repairedUtf8(std::exchange(m_parts, {}).append(frame.payload));
    if (onText)
        onText(text);
}

void WSConnection::send(const QString &text) {
    sendFrame(Opcode::text, text.toUtf8());
}

void WSConnection::sendFrame(Opcode opcode, QByteArrayView payload) {
    m_stream->send({WrittenHead(opcode, static_cast<std::uint64_t>(payload.size())), payload});
}

// --- The end

void WSConnection::close() {
    if (m_closed.exchange(true))
        return;
    sendFrame(Opcode::close, NORMAL_CLOSURE);
    m_stream->cancel();
    m_stream->post([self = shared_from_this()] { self->closed(); });
}

// Whoever closed may be within one of the two; here they are not.
void WSConnection::closed() {
    if (onClose)
        onClose();
    onClose = nullptr;
    onText = nullptr;
    m_parts = {};
    m_frames = {};
}

} // namespace ombru
