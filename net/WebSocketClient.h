// A WebSocket to another computer (RFC 6455): handshake, framing, goodbye. No extensions, no subprotocols.
//
// On its queue, but where it says so. What is told comes there, and may let go of the client.
#pragma once
#include "net/ClientConnection.h"
#include "net/Frame.h"
#include "net/HttpHead.h"

#include <QByteArrayList>

#include <atomic>

namespace ombru {

// Why a WebSocket is over: the other side's close frame, or in words what was wrong.
struct WebSocketEnd {
    std::optional<int> code = {}; // of the close frame; 1005 for one without
    QString reason;               // the frame's, perhaps empty; or the words
};

constexpr int CLOSE_NORMAL = 1000;
constexpr int CLOSE_GOING_AWAY = 1001;

class WebSocketClient : public std::enable_shared_from_this<WebSocketClient> {
public:
    struct Options {
        QUrl url;                                             // ws or wss
        QByteArrayList headers;                               // of the handshake; whole lines, without their ends
        QString authority;                                    // as a ClientConnection's
        std::uint64_t largestMessage = LARGEST_FRAME;         // bytes; one that is larger ends it
        std::function<void()> onOpen = {};                    //
        std::function<void(QByteArrayView)> onText = {};      // each text message, valid UTF-8
        std::function<void(const WebSocketEnd &)> onEnd = {}; // once, and nothing after it
    };
    WebSocketClient(std::shared_ptr<SerialQueue> queue, Options options);
    ~WebSocketClient();
    WebSocketClient(const WebSocketClient &) = delete;
    WebSocketClient &operator=(const WebSocketClient &) = delete;

    void open(); // once

    // From onOpen on, until it is closed or over.
    bool isOpen() const { return m_open; } // any thread
    // Whether send() may be called from any thread; from onOpen on.
    bool sendsDirectly() const { return m_connection->isDirect(); }
    // One message, one frame; in the order of the calls. Dropped unless it is open.
    void send(Opcode opcode, QByteArrayView payload);
    qint64 unsent() const { return m_connection->unsent(); } // bytes; thread as send()

    // Says goodbye. It is over once the system has that and all before it, which may be never: see abandon().
    void close(int code);
    void abandon(); // at once; nothing is told any more

private:
    void requestUpgrade();
    void receive(QByteArrayView bytes);
    void checkUpgrade();
    QString refusal() const;
    void readFrames();
    void take(const Frame &frame);
    void takePart(const Frame &frame);
    void tell(QByteArrayView message);
    void takeClose(QByteArrayView payload);
    void endAsAsked(int code, const QString &reason);
    void writeFrame(Opcode opcode, QByteArrayView payload);
    void writeClose(int code);
    void fail(int code, const QString &words);
    void end(const WebSocketEnd &end);

    Options m_options; // its callbacks are none once it is over
    const std::shared_ptr<ClientConnection> m_connection;
    QByteArray m_key;
    HeadReader m_head;
    FrameReader m_frames;
    bool m_upgraded = false;
    bool m_inMessage = false; // of several frames
    bool m_isText = false;
    QByteArray m_parts;
    bool m_over = false;
    std::atomic<bool> m_open = false;
};

} // namespace ombru
