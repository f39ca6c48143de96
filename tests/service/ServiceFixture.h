// A whole service of its own for a test, on a free port and with a directory of its own, and clients of it: requests
// over HTTP and both WebSockets. Passwords cost next to nothing in it.
#pragma once
#include "service/Server.h"
#include "tests/support/Wait.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <QWebSocket>

#include <gmock/gmock.h>

namespace ombru::test {

constexpr PasswordCost CHEAP{1, 8192};
inline const QString PASSWORD = QStringLiteral("correct horse battery");

struct Reply {
    int status = 0;
    QByteArray body;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QList<QNetworkReply::RawHeaderPair> headers = {};

    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    QString code() const { return json()[QStringLiteral("error")].toString(); }
    QByteArray header(const QByteArray &name) const {
        for (const auto &[each, value] : headers)
            if (each.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        return {};
    }
};

// Who is signed in, in a browser.
struct Browser {
    QByteArray cookie;
    QByteArray csrf;
};

// A WebSocket to the service, and what came by it.
class Line {
public:
    Line(const QUrl &url, const QList<QNetworkReply::RawHeaderPair> &headers) {
        QObject::connect(&m_socket, &QWebSocket::textMessageReceived, &m_socket, [this](const QString &text) {
            messages.push_back(QJsonDocument::fromJson(text.toUtf8()).object());
        });
        QObject::connect(&m_socket, &QWebSocket::binaryMessageReceived, &m_socket,
                         [this](const QByteArray &bytes) { sound.append(bytes); });
        QNetworkRequest request(url);
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        m_socket.open(request);
    }

    bool opens() {
        waitUntil([this] {
            return m_socket.state() == QAbstractSocket::ConnectedState ||
                   m_socket.state() == QAbstractSocket::UnconnectedState;
        });
        return m_socket.state() == QAbstractSocket::ConnectedState;
    }
    bool closes() {
        return waitUntil([this] { return m_socket.state() == QAbstractSocket::UnconnectedState; });
    }
    int closeCode() const { return m_socket.closeCode(); }
    void send(const QJsonObject &message) {
        m_socket.sendTextMessage(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
    }
    void sendText(const QString &text) { m_socket.sendTextMessage(text); }
    void sendSound(const QByteArray &bytes) { m_socket.sendBinaryMessage(bytes); }
    void drop() { m_socket.abort(); }

    // The next message of that type that has not been taken yet; those before it are dropped.
    QJsonObject next(const QString &type) {
        QJsonObject found;
        const bool came = waitUntil([&] {
            while (!messages.empty() && found.isEmpty()) {
                if (messages.front()[QStringLiteral("type")].toString() == type)
                    found = messages.front();
                messages.pop_front();
            }
            return !found.isEmpty();
        });
        EXPECT_TRUE(came) << "no " << type.toStdString() << " came";
        return found;
    }

    std::deque<QJsonObject> messages;
    QByteArray sound;

private:
    QWebSocket m_socket;
};

class ServiceFixture : public ::testing::Test {
protected:
    void SetUp() override { start(); }
    void TearDown() override { stop(); }

    void start(Server::Options options = {.passwordCost = CHEAP}) {
        prepareSecrets();
        settings = std::make_unique<ServiceSettings>(directory.filePath(QStringLiteral("settings.conf")));
        ASSERT_TRUE(settings->port.override(0));
        ASSERT_TRUE(settings->dataDirectory.override(directory.path()));
        auto started = Server::start(*settings, options);
        ASSERT_TRUE(started) << started.error().description.toStdString();
        server = *std::move(started);
        port = server->port();
    }
    void stop() {
        if (server)
            await(server->stop());
        server.reset();
    }

    QString base() const { return QStringLiteral("http://127.0.0.1:%1").arg(port); }
    QUrl socketURL(const QString &path) const {
        return QUrl(QStringLiteral("ws://127.0.0.1:%1%2").arg(port).arg(path));
    }
    QByteArray origin() const { return "http://localhost:" + QByteArray::number(port); }

    using Headers = QList<QNetworkReply::RawHeaderPair>;
    Reply request(const QByteArray &method, const QString &path, const Headers &headers, const QByteArray &body = {}) {
        QNetworkRequest request(QUrl(base() + path));
        request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
        request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        const std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(request, method, body));
        EXPECT_TRUE(waitUntil([&] { return reply->isFinished(); }));
        return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(), reply->error(),
                reply->rawHeaderPairs()};
    }
    Reply get(const QString &path, const Browser &browser = {}) {
        return request("GET", path, {{"Cookie", browser.cookie}, {"X-CSRF-Token", browser.csrf}});
    }
    Reply send(const QByteArray &method, const QString &path, const QJsonObject &body, const Browser &browser = {}) {
        return request(method, path,
                       {{"Cookie", browser.cookie},
                        {"X-CSRF-Token", browser.csrf},
                        {"Origin", origin()},
                        {"Content-Type", "application/json"}},
                       QJsonDocument(body).toJson(QJsonDocument::Compact));
    }
    Reply post(const QString &path, const QJsonObject &body, const Browser &browser = {}) {
        return send("POST", path, body, browser);
    }
    // As a computer asks.
    Reply ask(const QString &path, const QJsonObject &body) {
        return request("POST", path,
                       {{"Content-Type", "application/json"}, {"User-Agent", "ombru/0.1.0 (Linux; x86_64)"}},
                       QJsonDocument(body).toJson(QJsonDocument::Compact));
    }
    Reply config(const QByteArray &token) {
        return request("GET", QStringLiteral("/api/device/config"),
                       {{"Authorization", "Bearer " + token}, {"User-Agent", "ombru/0.1.0 (Linux; x86_64)"}});
    }

    static Browser browserOf(const Reply &reply) {
        const auto cookie = reply.header("Set-Cookie");
        return {cookie.first(std::max<qsizetype>(0, cookie.indexOf(';'))),
                reply.json()[QStringLiteral("csrf")].toString().toLatin1()};
    }
    Browser visitFirst(const QString &email = QStringLiteral("owner@example.org"), const QString &code = {}) {
        const auto reply = post(QStringLiteral("/api/first-visit"),
                                {{QStringLiteral("code"), code.isEmpty() ? server->visitCode() : code},
                                 {QStringLiteral("email"), email},
                                 {QStringLiteral("password"), PASSWORD}});
        EXPECT_EQ(reply.status, 200) << reply.body.toStdString();
        return browserOf(reply);
    }
    Reply signIn(const QString &email, const QString &password = PASSWORD) {
        return post(QStringLiteral("/api/sign-in"),
                    {{QStringLiteral("email"), email}, {QStringLiteral("password"), password}});
    }
    // Another account, as `add-user` makes one beside the service.
    Browser addUser(const QString &email) {
        const auto store = Store::open({directory.filePath(QStringLiteral("service.sqlite"))});
        EXPECT_TRUE((*store)->accounts.add(email, hashedPassword(PASSWORD, CHEAP), Clock::unixSeconds()));
        return browserOf(signIn(email));
    }

    struct Pairing {
        QString deviceCode;
        QString userCode;
    };
    Pairing startPairing(const QString &name = QStringLiteral("workshop")) {
        const auto json = ask(QStringLiteral("/api/device/start"), {{QStringLiteral("name"), name}}).json();
        return {json[QStringLiteral("device_code")].toString(), json[QStringLiteral("user_code")].toString()};
    }
    QJsonObject poll(const Pairing &pairing) {
        return ask(QStringLiteral("/api/device/poll"), {{QStringLiteral("device_code"), pairing.deviceCode}}).json();
    }
    // Signs a computer in, and gives its token.
    QByteArray pair(const Browser &browser, const QString &name = QStringLiteral("workshop")) {
        const auto pairing = startPairing(name);
        const auto allowed =
            post(QStringLiteral("/api/verify"),
                 {{QStringLiteral("code"), pairing.userCode}, {QStringLiteral("allow"), true}}, browser);
        EXPECT_EQ(allowed.status, 204) << allowed.body.toStdString();
        return poll(pairing)[QStringLiteral("token")].toString().toLatin1();
    }
    QString firstComputer(const Browser &browser) {
        return get(QStringLiteral("/api/computers"), browser)
            .json()[QStringLiteral("computers")][0][QStringLiteral("id")]
            .toString();
    }

    std::unique_ptr<Line> agent(const QByteArray &token) {
        return std::make_unique<Line>(socketURL(QStringLiteral("/agent")),
                                      Headers{{"Authorization", "Bearer " + token}});
    }
    std::unique_ptr<Line> page(const Browser &browser) {
        auto line = std::make_unique<Line>(socketURL(QStringLiteral("/live")),
                                           Headers{{"Cookie", browser.cookie}, {"Origin", origin()}});
        EXPECT_TRUE(line->opens());
        return line;
    }

    QTemporaryDir directory;
    QNetworkAccessManager network;
    std::unique_ptr<ServiceSettings> settings;
    std::unique_ptr<Server> server;
    std::uint16_t port = 0;
};

inline QJsonObject event(const QString &kind, const QString &text, double time = 1000) {
    return toJson(EventMessage{kind, text, time});
}
inline QJsonObject state(bool busy, int step = 0) {
    return toJson(StateMessage{busy, step, {}, false, busy ? QStringLiteral("working") : QString()});
}
inline QJsonObject watch(const QString &computer, qint64 after = -1) {
    return {{QStringLiteral("type"), QStringLiteral("watch")},
            {QStringLiteral("computer"), computer},
            {QStringLiteral("after"), after}};
}

} // namespace ombru::test
