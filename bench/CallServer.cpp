// The call server with its calls, or the same by Qt's own server in the usual way: a timer a call and JSON by the
// library. Usage: bench-call-server ours [SPEECH_URL] | qt
#include "base/Loop.h"
#include "bench/Race.h"
#include "bench/Served.h"
#include "voice/Inbox.h"
#include "voice/Mulaw.h"
#include "voice/VoiceCall.h"
#include "voice/WSServer.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>
#include <QWebSocket>
#include <QWebSocketServer>

#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

void tellPort(quint16 port) {
    std::printf("%d\n", int(port));
    std::fflush(stdout);
}

void endWhenSilent(const QString &line, VoiceCall::LineKind) {
    if (line.endsWith(u"text-to-speech failed"_s))
        bench::fail("a call has nothing to say");
}

class Ours {
public:
    explicit Ours(const QString &speech) {
        m_options = {.speech = {speech},
                     .key = u"key"_s,
                     .greeting = u"Hello."_s,
                     .ttsModel = u"voice"_s,
                     .ask = [](const VoiceCall::Request &) {},
                     .log = endWhenSilent};
        m_server.start();
    }

private:
    void take(const std::shared_ptr<WSConnection> &connection) {
        if (connection->path() == "/"_L1)
            connection->onText = [echo = connection.get()](const QString &text) { echo->send(text); };
        else
            Loop::main().post([this, connection, inbox = Inbox::of(connection)] {
                m_calls.push_back(VoiceCall::begin(connection, *inbox, m_options));
            });
    }

    VoiceCall::Options m_options;
    std::vector<std::shared_ptr<VoiceCall>> m_calls;
    WSServer m_server{
        {.port = 0,
         .token = u"bench"_s,
         .onConnection = [this](const std::shared_ptr<WSConnection> &connection) { take(connection); },
         .onState = [this](const QString &) { Loop::main().post([this] { tellPort(m_server.port()); }); }}};
};

class QtCall : public QObject {
public:
    explicit QtCall(QWebSocket &socket) : QObject(&socket), m_socket(socket) {
        connect(&socket, &QWebSocket::textMessageReceived, this, [this](const QString &text) { take(text); });
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.callOnTimeout(this, [this] { beat(); });
    }

private:
    void take(const QString &text) {
        const auto message = QJsonDocument::fromJson(text.toUtf8()).object();
        if (message["event"_L1] != "start"_L1)
            return;
        m_stream = message["streamSid"_L1].toString();
        m_timer.start(std::chrono::milliseconds(20));
    }
    void beat() {
        static const std::vector<std::int16_t> sound(160, 4000);
        QByteArray codes(160, Qt::Uninitialized);
        pcmToUlaw(sound, reinterpret_cast<std::uint8_t *>(codes.data()));
        const QJsonObject media{{u"payload"_s, QString::fromLatin1(codes.toBase64())}};
        const QJsonObject message{{u"event"_s, u"media"_s}, {u"streamSid"_s, m_stream}, {u"media"_s, media}};
        m_socket.sendTextMessage(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
    }

    QWebSocket &m_socket;
    QString m_stream;
    QTimer m_timer;
};

class Qts {
public:
    Qts() {
        QObject::connect(&m_server, &QWebSocketServer::newConnection, &m_server, [this] { take(); });
        if (!m_server.listen(QHostAddress::LocalHost))
            bench::fail("Qt's server does not listen");
        tellPort(m_server.serverPort());
    }

private:
    void take() {
        while (auto *socket = m_server.nextPendingConnection()) {
            QObject::connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
            if (socket->requestUrl().path() == "/"_L1)
                QObject::connect(socket, &QWebSocket::textMessageReceived, socket, &QWebSocket::sendTextMessage);
            else
                new QtCall(*socket); // the socket's
        }
    }

    QWebSocketServer m_server{u"bench"_s, QWebSocketServer::NonSecureMode};
};

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    bench::raiseDescriptorLimit();
    const auto arguments = QCoreApplication::arguments();
    std::optional<Ours> ours;
    std::optional<Qts> theirs;
    if (arguments.value(1) == "qt"_L1)
        theirs.emplace();
    else
        ours.emplace(arguments.value(2));
    return QCoreApplication::exec();
}
