// One connection of the call server: the handshake, then messages as text until either side closes. What it tells comes
// on the queue "ombru.ws"; send and close are for any thread. Nobody has to keep it: it lives at least until it is
// closed, and whoever keeps it longer finds that it does nothing more.
#pragma once
#include "net/Frame.h"
#include "net/HttpHead.h"
#include "net/Stream.h"

#include <QSet>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

namespace ombru {

class WSConnection : public std::enable_shared_from_this<WSConnection> {
public:
    explicit WSConnection(std::shared_ptr<Stream> stream); // on the queue

    // On the queue. `onReady` comes at most once: the upgrade has succeeded.
    using OnReady = std::function<void(const std::shared_ptr<WSConnection> &)>;
    void start(const QString &token, const QSet<QString> &routes, OnReady onReady);

    QString path() const { return m_path; } // of the request, without its query; fixed from onReady on
    QString peer() const;                   // "host:port"

    // Set in onReady or later on the queue. Both are let go of once the connection has closed.
    std::function<void(const QString &)> onText; // a whole message, binary ones, too; none after a close
    std::function<void()> onClose;               // once, whoever closes; always after close() has returned

    void send(const QString &text);
    void sendFrame(Opcode opcode, QByteArrayView payload);
    void close(); // says status 1000 behind what was sent, and waits for no reply

    bool isPending() const { return m_phase == Phase::handshake; } // on the queue
    void drop();                                                   // on the queue: ends a pending one without a word

private:
    enum class Phase { handshake, refused, open };
    struct Handshake {
        QString token;
        QSet<QString> routes;
        OnReady onReady;
        HeadReader reader;
    };

    void received(QByteArrayView bytes);
    void shakeHands(QByteArrayView bytes);
    void answer();
    void readFrames();
    void handle(const Frame &frame);
    void addPart(const Frame &frame);
    void ended();
    void closed();

    const std::shared_ptr<Stream> m_stream;
    QString m_path = QStringLiteral("/");
    std::atomic<bool> m_closed = false;

    // On the queue.
    Phase m_phase = Phase::handshake;
    std::unique_ptr<Handshake> m_handshake; // as long as it is pending
    FrameReader m_frames;
    QByteArray m_parts; // of the message that is coming in
};

} // namespace ombru
