// The service's end of one WebSocket: messages in, messages out. It reads unless it is told to wait; what is longer
// than it keeps comes cut. On the queue of its stream, which keeps it until it has ended.
#pragma once
#include "base/Clock.h"
#include "net/Frame.h"
#include "net/Stream.h"

#include <functional>
#include <memory>

namespace ombru {

class Channel : public std::enable_shared_from_this<Channel> {
public:
    // What a close says.
    enum Code : std::uint16_t {
        NORMAL = 1000,
        GOING_AWAY = 1001,
        PROTOCOL_ERROR = 1002,
        POLICY = 1008, // it says too much
        SESSION_OVER = 4401,
        REPLACED = 4409,
        TOO_MANY = 4429
    };

    struct Message {
        bool isText = true;
        QByteArrayView bytes;
        qint64 cut = 0; // so many at the end were not kept
    };
    struct Listener {
        std::function<void(const Message &)> onMessage;
        std::function<void()> onDrained; // nothing waits to be sent any more
        std::function<void()> onClose;   // once, whoever closes; not from within close()
    };

    // `kept`: bytes of a message.
    Channel(std::shared_ptr<Stream> stream, qsizetype kept);

    void start(Listener listener);
    void take(QByteArrayView bytes); // that were received before

    void sendText(const QByteArray &text) { send(Opcode::text, text); }
    void sendBinary(QByteArrayView bytes) { send(Opcode::binary, bytes); }
    void ping() { send(Opcode::ping, {}); }
    void close(Code code);

    // Off: it reads no further, and the peer has to wait. What it has is told all the same.
    void read(bool on);
    bool isReading() const { return m_reading; }

    qsizetype unsent() const { return m_unsent; }         // bytes that the system has not taken
    Clock::Time lastHeard() const { return m_lastHeard; } // anything at all
    bool isOpen() const { return !m_closed; }

private:
    void handle(const Frame &frame);
    void addPart(const Frame &frame);
    void send(Opcode opcode, QByteArrayView payload);
    void gone(qsizetype bytes);

    const std::shared_ptr<Stream> m_stream;
    const qsizetype m_kept;
    Listener m_listener;
    FrameReader m_frames;
    QByteArray m_parts;           // of the message that is coming in
    std::optional<Opcode> m_kind; // its
    qint64 m_cut = 0;             // its
    qsizetype m_unsent = 0;
    Clock::Time m_lastHeard = Clock::now();
    bool m_reading = true;
    bool m_closed = false;
};

} // namespace ombru
