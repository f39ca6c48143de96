#include "app/call/PhoneProvider.h"

#include "voice/Mulaw.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkRequest>

namespace ombru {

using namespace Qt::StringLiterals;

PhoneProvider::PhoneProvider(Options options) : m_options(std::move(options)) {
    QObject::connect(&m_socket, &QWebSocket::connected, [this] { m_options.onOpen(); });
    QObject::connect(&m_socket, &QWebSocket::textMessageReceived, [this](const QString &text) { take(text); });
    QObject::connect(&m_socket, &QWebSocket::pong, [this] { m_options.onPong(); });
    // Both come for one that failed, the reason behind the end.
    QObject::connect(
        &m_socket, &QWebSocket::disconnected, &m_socket, [this] { closed(m_socket.closeReason()); },
        Qt::QueuedConnection);
    QObject::connect(&m_socket, QOverload<QAbstractSocket::SocketError>::of(&QWebSocket::error),
                     [this] { closed(m_socket.errorString()); });
    QNetworkRequest request(m_options.url);
    request.setRawHeader("Authorization", "Bearer " + m_options.token.toUtf8());
    m_socket.open(request);
}

PhoneProvider::~PhoneProvider() {
    m_socket.disconnect();
}

void PhoneProvider::connected() {
    const QJsonObject message{{u"event"_s, u"connected"_s}, {u"protocol"_s, u"Call"_s}, {u"version"_s, u"1.0.0"_s}};
    send(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
}

void PhoneProvider::start() {
    tell(u"start"_s, u"start"_s,
         {{u"streamSid"_s, streamSid()},
          {u"callSid"_s, callSid()},
          {u"tracks"_s, QJsonArray{u"inbound"_s}},
          {u"mediaFormat"_s,
           QJsonObject{{u"encoding"_s, u"audio/x-mulaw"_s}, {u"sampleRate"_s, RATE}, {u"channels"_s, 1}}},
          {u"customParameters"_s, QJsonObject{{u"from"_s, m_options.from}}}});
}

void PhoneProvider::media(const QByteArray &sound) {
    tell(u"media"_s, u"media"_s,
         {{u"track"_s, u"inbound"_s},
          {u"chunk"_s, QString::number(++m_chunk)},
          {u"timestamp"_s, QString::number(m_sent * 1000 / RATE)},
          {u"payload"_s, QString::fromLatin1(sound.toBase64())}});
    m_sent += sound.size();
}

void PhoneProvider::mark(const QString &name) {
    tell(u"mark"_s, u"mark"_s, {{u"name"_s, name}});
}

void PhoneProvider::dtmf(const QString &digit) {
    tell(u"dtmf"_s, u"dtmf"_s, {{u"track"_s, u"inbound_track"_s}, {u"digit"_s, digit}});
}

void PhoneProvider::stop() {
    tell(u"stop"_s, u"stop"_s, {{u"callSid"_s, callSid()}});
}

void PhoneProvider::send(const QString &text) {
    m_socket.sendTextMessage(text);
}

void PhoneProvider::tell(const QString &event, const QString &part, const QJsonObject &value) {
    const QJsonObject message{{u"event"_s, event},
                              {u"sequenceNumber"_s, QString::number(++m_sequence)},
                              {u"streamSid"_s, streamSid()},
                              {part, value}};
    send(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
}

void PhoneProvider::take(const QString &text) {
    const auto message = QJsonDocument::fromJson(text.toUtf8()).object();
    if (message["event"_L1] == "media"_L1)
        m_buffer += QByteArray::fromBase64(message["media"_L1]["payload"_L1].toString().toLatin1());
    if (message["event"_L1] == "clear"_L1)
        m_buffer.clear();
    m_options.onMessage(message);
}

QByteArray PhoneProvider::play(qsizetype most) {
    const auto sound = m_buffer.first(std::min(most, m_buffer.size()));
    m_buffer.remove(0, sound.size());
    return sound;
}

void PhoneProvider::closed(const QString &why) {
    if (const auto tellIt = std::exchange(m_options.onClosed, {}))
        tellIt(why);
}

} // namespace ombru
