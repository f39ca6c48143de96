// A telephony provider's side of one call: it connects to the call server, tells what a provider tells, and buffers
// what it is to play until it plays it, or is told to clear it. Main thread.
#pragma once
#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>
#include <QWebSocket>

#include <functional>

namespace ombru {

class PhoneProvider {
public:
    struct Options {
        QUrl url; // of the call server: ws://HOST:PORT/media
        QString token;
        QString from = QStringLiteral("phone"); // the caller
        std::function<void()> onOpen = [] {};
        std::function<void(const QJsonObject &)> onMessage = [](const QJsonObject &) {
        }; // each, after it was acted upon
        std::function<void()> onPong = [] {};
        std::function<void(const QString &why)> onClosed = [](const QString &) {}; // once
    };

    explicit PhoneProvider(Options options);
    ~PhoneProvider(); // hangs up, and tells nothing any more
    PhoneProvider(const PhoneProvider &) = delete;
    PhoneProvider &operator=(const PhoneProvider &) = delete;

    void connected(); // the first word, then
    void start();
    void media(const QByteArray &sound); // mu-law; 160 bytes each 20 ms
    void mark(const QString &name);
    void dtmf(const QString &digit);
    void stop();
    void send(const QString &text); // whatever else
    void ping() { m_socket.ping(); }
    void hangUp() { m_socket.abort(); }

    // What is to be played next, mu-law; less than wanted when no more is there.
    QByteArray play(qsizetype most);

    static QString streamSid() { return QStringLiteral("MZ00000000000000000000000000000001"); }
    static QString callSid() { return QStringLiteral("CA00000000000000000000000000000001"); }

private:
    void tell(const QString &event, const QString &part = {}, const QJsonObject &value = {});
    void take(const QString &text);
    void closed(const QString &why);

    Options m_options;
    QByteArray m_buffer;
    int m_sequence = 0; // of what was told in the stream
    int m_chunk = 0;    // of its media
    qint64 m_sent = 0;  // bytes of sound
    QWebSocket m_socket;
};

} // namespace ombru
