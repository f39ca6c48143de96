#include "net/WebSocketClient.h"

#include <QRandomGenerator>
#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int CLOSE_PROTOCOL_ERROR = 1002;
constexpr int CLOSE_WITHOUT_CODE = 1005; // never on the wire
constexpr int CLOSE_WRONG_TEXT = 1007;
constexpr int CLOSE_TOO_LARGE = 1009;
constexpr qsizetype LONGEST_CONTROL = 125; // bytes of payload
constexpr qint64 MOST_UNSENT = 1 << 20;    // bytes; while more waits, pings are not answered
constexpr qsizetype KEY = 16;              // bytes
constexpr qsizetype LONGEST_SHOWN = 100;   // bytes, of what answers that is no WebSocket

QByteArray newKey() {
    QByteArray key(KEY, Qt::Uninitialized);
    auto *words = reinterpret_cast<quint32 *>(key.data());
    QRandomGenerator::system()->fillRange(words, KEY / qsizetype(sizeof *words));
    return key.toBase64();
}

FrameMask newMask() {
    const auto random = QRandomGenerator::global()->generate();
    FrameMask mask;
    std::memcpy(mask.data(), &random, mask.size());
    return mask;
}

QByteArray pathOf(const QUrl &url) {
    auto path = url.path(QUrl::FullyEncoded).toUtf8();
    if (path.isEmpty())
        path = "/";
    return url.hasQuery() ? path + '?' + url.query(QUrl::FullyEncoded).toUtf8() : path;
}

QByteArray hostOf(const QUrl &url) {
    const auto host = url.host(QUrl::FullyEncoded).toUtf8();
    const auto named = host.contains(':') ? '[' + host + ']' : host;
    return url.port() < 0 ? named : named + ':' + QByteArray::number(url.port());
}

bool isLine(const QByteArray &header) {
    return std::ranges::none_of(header, [](char byte) { return byte == '\r' || byte == '\n' || byte == '\0'; });
}

bool isControl(Opcode opcode) {
    return opcode == Opcode::close || opcode == Opcode::ping || opcode == Opcode::pong;
}

// Of codes of a close frame; others are reserved, or nobody's.
bool mayBeSent(int code) {
    constexpr std::array RESERVED{1004, 1005, 1006};
    const bool isKnown = code >= CLOSE_NORMAL && code <= 1014 && std::ranges::find(RESERVED, code) == RESERVED.end();
    return isKnown || (code >= 3000 && code <= 4999);
}

} // namespace

WebSocketClient::WebSocketClient(std::shared_ptr<SerialQueue> queue, Options options)
    : m_options(std::move(options)),
      m_connection(std::make_shared<ClientConnection>(std::move(queue), m_options.url, m_options.authority)) {
    m_frames.refuseAbove(m_options.largestMessage);
}

WebSocketClient::~WebSocketClient() {
    abandon();
}

void WebSocketClient::open() {
    const auto weak = weak_from_this();
    const auto withSelf = [weak](auto job) {
        if (const auto self = weak.lock(); self && !self->m_over)
            job(*self);
    };
    m_connection->open(
        {.onOpen = [withSelf] { withSelf([](auto &self) { self.requestUpgrade(); }); },
         .onReceived = [withSelf](QByteArrayView bytes) { withSelf([bytes](auto &self) { self.receive(bytes); }); },
         .onEnd = [withSelf](const QString &why) { withSelf([&why](auto &self) { self.end({.reason = why}); }); }});
}

// --- The handshake

void WebSocketClient::requestUpgrade() {
    if (!std::ranges::all_of(m_options.headers, isLine))
        return end({.reason = u"a header of the handshake has more than one line"_s});
    m_key = newKey();
    QByteArrayList lines{"GET " + pathOf(m_options.url) + " HTTP/1.1",
                         "Host: " + hostOf(m_options.url),
                         "Upgrade: websocket",
                         "Connection: Upgrade",
                         "Sec-WebSocket-Version: 13",
                         "Sec-WebSocket-Key: " + m_key};
    lines += m_options.headers;
    m_connection->send(lines.join("\r\n") + "\r\n\r\n");
}

void WebSocketClient::receive(QByteArrayView bytes) {
    const auto self = shared_from_this();
    if (m_upgraded) {
        m_frames.append(bytes);
        return readFrames();
    }
    const auto state = m_head.append(bytes);
    if (state == HeadReader::State::tooLong)
        end({.reason = u"the answer to the handshake has no end"_s});
    else if (state == HeadReader::State::whole)
        checkUpgrade();
}

void WebSocketClient::checkUpgrade() {
    if (const auto words = refusal(); !words.isEmpty())
        return end({.reason = words});
    m_upgraded = true;
    m_open = true;
    m_frames.append(m_head.rest());
    m_head = {};
    if (const auto onOpen = m_options.onOpen)
        onOpen();
    readFrames();
}

// Why the answer is none that makes a WebSocket; empty when it is.
QString WebSocketClient::refusal() const {
    const auto answer = m_head.head();
    const auto lineEnd = answer.indexOf("\r\n");
    const auto first = answer.first(lineEnd < 0 ? answer.size() : lineEnd).toByteArray();
    if (!first.startsWith("HTTP/1.1 101"))
        return u"the handshake was answered with \"%1\""_s.arg(QString::fromUtf8(first.left(LONGEST_SHOWN)));
    const auto head = parseHead(answer);
    const auto has = [&head](QLatin1StringView name, QLatin1StringView word) {
        return std::ranges::any_of(head.headers, [&](const auto &header) {
            return header.first == name && header.second.contains(word, Qt::CaseInsensitive);
        });
    };
    if (has("sec-websocket-extensions"_L1, {}) || has("sec-websocket-protocol"_L1, {}))
        return u"the handshake was answered with what nobody asked for"_s;
    if (!has("upgrade"_L1, "websocket"_L1) || !has("connection"_L1, "upgrade"_L1) ||
        head.header(u"sec-websocket-accept"_s) != QString::fromLatin1(webSocketAcceptance(m_key)))
        return u"what answered the handshake is no WebSocket server"_s;
    return {};
}

// --- Receiving

void WebSocketClient::readFrames() {
    while (!m_over) {
        const auto frame = m_frames.next();
        if (!frame)
            return fail(CLOSE_TOO_LARGE, frame.error().description);
        if (!*frame)
            return;
        take(**frame);
    }
}

void WebSocketClient::take(const Frame &frame) {
    if (frame.reserved || frame.masked)
        return fail(CLOSE_PROTOCOL_ERROR, u"a frame came that no server may send"_s);
    if (isControl(frame.opcode) && (!frame.last || frame.payload.size() > LONGEST_CONTROL))
        return fail(CLOSE_PROTOCOL_ERROR, u"a control frame was in parts, or too long"_s);
    switch (frame.opcode) {
    case Opcode::ping:
        return unsent() < MOST_UNSENT ? send(Opcode::pong, frame.payload) : void();
    case Opcode::pong:
        return;
    case Opcode::close:
        return takeClose(frame.payload);
    case Opcode::continuation:
    case Opcode::text:
    case Opcode::binary:
        return takePart(frame);
    }
    fail(CLOSE_PROTOCOL_ERROR, u"a frame of an unknown kind came"_s);
}

void WebSocketClient::takePart(const Frame &frame) {
    const bool begins = frame.opcode != Opcode::continuation;
    if (begins == m_inMessage)
        return fail(CLOSE_PROTOCOL_ERROR, u"the frames of a message were mixed up"_s);
    if (begins)
        m_isText = frame.opcode == Opcode::text;
    if (static_cast<std::uint64_t>(m_parts.size() + frame.payload.size()) > m_options.largestMessage)
        return fail(CLOSE_TOO_LARGE, u"a message was too large"_s);
    m_inMessage = !frame.last;
    if (begins && frame.last)
        return tell(frame.payload);
    m_parts.append(frame.payload);
    if (frame.last)
        tell(std::exchange(m_parts, {}));
}

void WebSocketClient::tell(QByteArrayView message) {
    if (!m_isText)
        return;
    if (!message.isValidUtf8())
        return fail(CLOSE_WRONG_TEXT, u"a text came that is no UTF-8"_s);
    if (const auto onText = m_options.onText)
        onText(message);
}

// Answered with the same, unless it is an answer itself.
void WebSocketClient::takeClose(QByteArrayView payload) {
    if (payload.isEmpty())
        return endAsAsked(CLOSE_WITHOUT_CODE, {});
    const int code = payload.size() < 2 ? 0 : qFromBigEndian<quint16>(payload.data());
    if (!mayBeSent(code))
        return fail(CLOSE_PROTOCOL_ERROR, u"it was closed there without a reason that there is"_s);
    const auto reason = payload.sliced(2);
    if (!reason.isValidUtf8())
        return fail(CLOSE_WRONG_TEXT, u"a text came that is no UTF-8"_s);
    endAsAsked(code, QString::fromUtf8(reason));
}

void WebSocketClient::endAsAsked(int code, const QString &reason) {
    if (m_open && code == CLOSE_WITHOUT_CODE)
        writeFrame(Opcode::close, {});
    else if (m_open)
        writeClose(code);
    end({code, reason});
}

// --- Sending

void WebSocketClient::send(Opcode opcode, QByteArrayView payload) {
    if (m_open)
        writeFrame(opcode, payload);
}

void WebSocketClient::writeFrame(Opcode opcode, QByteArrayView payload) {
    const auto mask = newMask();
    const WrittenHead written(opcode, static_cast<std::uint64_t>(payload.size()), mask);
    const QByteArrayView head = written;
    QByteArray frame(head.size() + payload.size(), Qt::Uninitialized);
    std::memcpy(frame.data(), head.data(), static_cast<std::size_t>(head.size()));
    if (!payload.isEmpty())
        std::memcpy(frame.data() + head.size(), payload.data(), static_cast<std::size_t>(payload.size()));
    applyMask({frame.data() + head.size(), static_cast<std::size_t>(payload.size())}, mask);
    m_connection->send(frame);
}

void WebSocketClient::writeClose(int code) {
    std::array<char, 2> payload;
    qToBigEndian(static_cast<quint16>(code), payload.data());
    writeFrame(Opcode::close, payload);
}

// --- The end

void WebSocketClient::close(int code) {
    if (!m_open.exchange(false))
        return;
    writeClose(code);
    m_connection->finish();
}

void WebSocketClient::abandon() {
    if (std::exchange(m_over, true))
        return;
    m_open = false;
    m_options = {};
    m_connection->abort();
}

void WebSocketClient::fail(int code, const QString &words) {
    if (m_open)
        writeClose(code);
    end({.reason = words});
}

void WebSocketClient::end(const WebSocketEnd &end) {
    if (std::exchange(m_over, true))
        return;
    m_open = false;
    m_connection->cancel();
    if (const auto onEnd = std::exchange(m_options, {}).onEnd)
        onEnd(end);
}

} // namespace ombru
