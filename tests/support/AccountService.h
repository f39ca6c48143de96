// A stand-in for the account service on the loopback: its HTTP requests, which the test answers, and its end of the web
// channel, frame by frame, so that a test sees and sends exactly what is on the wire. Main thread; ends with the
// object.
#pragma once
#include <QByteArray>
#include <QHostAddress>
#include <QJsonObject>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace ombru::test {

struct AccountRequest {
    QByteArray head; // without its empty line
    QByteArray body;

    QByteArray line() const { return head.first(head.indexOf("\r\n")); } // "POST /path HTTP/1.1"
    QByteArray header(const QByteArray &name) const;
    QJsonObject json() const;
};

struct AccountReply {
    enum class Manner { whole, dropsMidway, stallsMidway, silence, later };
    int status = 200;
    QByteArray body = "{}";
    QByteArray headers = {}; // whole lines
    Manner manner = Manner::whole;
};

struct ChannelFrame {
    int opcode = 0; // 1 text, 2 binary, 8 close, 9 ping, 10 pong
    QByteArray payload;
    bool last = true;
    bool operator==(const ChannelFrame &) const = default;
};

class AccountService {
public:
    using Answer = std::function<AccountReply(const AccountRequest &)>;

    // Whoever asks for an upgrade gets a channel, unless this is not its manner.
    enum class Manner { answers, stalls, hangsUp, refuses };

    struct Channel {
        std::unique_ptr<QTcpSocket> socket;
        QByteArray unread;
        AccountRequest request;
        std::vector<ChannelFrame> frames;
        bool gone = false;

        void send(const ChannelFrame &frame);
        void sendText(const QByteArray &text) { send({1, text}); }
        void hangUp() { socket->abort(); }
    };

    // Encrypted with a configuration. On a port of its own choice unless one is given.
    explicit AccountService(const std::optional<QSslConfiguration> &encryption = {}, quint16 port = 0);

    QString base() const; // "http://127.0.0.1:PORT", or "https://localhost:PORT"
    quint16 port() const { return m_server->serverPort(); }
    QUrl channelURL() const;

    Answer answer = [](const AccountRequest &) { return AccountReply(); };
    std::vector<AccountRequest> requests; // other than for channels

    // The reply to a request, by its number, that was to come later; and whether anybody still waits for it.
    void answerNow(std::size_t number, const AccountReply &reply);
    bool isWaitedFor(std::size_t number) const;
    void forgetRequests(); // and their connections; the next one is number 0

    Manner manner = Manner::answers;
    void answerNow(Channel &channel); // one that was not answered when it came
    AccountReply refusal = {.status = 403};
    std::function<void(Channel &)> onChannel = [](Channel &) {}; // it has just been answered
    std::function<void(Channel &)> onFrame = [](Channel &) {};   // its last one has just come
    std::vector<std::unique_ptr<Channel>> channels; // in the order they came, those that were not answered included
    Channel &newest() { return *channels.back(); }
    std::size_t frameCount() const { return channels.empty() ? 0 : channels.back()->frames.size(); }

private:
    void accept();
    void readHead(QTcpSocket *socket);
    static void send(QTcpSocket *socket, const AccountReply &reply);
    void openChannel(QTcpSocket *socket, const AccountRequest &request, const QByteArray &rest);

    std::unique_ptr<QTcpServer> m_server;
    std::vector<QTcpSocket *> m_requesters; // the server's; in the order of the requests
};

} // namespace ombru::test
