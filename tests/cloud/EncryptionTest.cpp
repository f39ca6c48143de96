// Requests and the channel over TLS: whom they trust, and what they say when they do not.

#include "cloud/AgentClient.h"
#include "cloud/Cloud.h"
#include "tests/support/AccountService.h"
#include "tests/support/Certificates.h"
#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountService;
using test::Authority;
using test::await;
using test::waitUntil;

namespace {

class Encryption : public testing::Test {
protected:
    static Result<std::optional<CloudConfig>> ask(const QString &base, const QString &authority) {
        return await(Cloud({.userAgent = "ombru/1", .authority = authority}).config(base, u"tok"_s, {}));
    }
    // What is said of a service that is not trusted; empty when it is.
    static QString complaint(const QString &base, const QString &authority) {
        const auto got = ask(base, authority);
        return got ? QString() : got.error().description;
    }
    // Whether a channel opens; whoever is refused has been told no token.
    static bool opens(const AccountService &service, const QUrl &url, const QString &authority) {
        const ManualClock clock; // it does not come back
        const auto told = std::make_shared<std::atomic<int>>(0);
        AgentClient client({.url = url,
                            .token = u"tok"_s,
                            .userAgent = "ombru/1",
                            .authority = authority,
                            .onConnected = [told](bool open) { *told = open ? 1 : -1; }});
        client.start();
        EXPECT_TRUE(waitUntil([&] { return *told != 0; }));
        const bool open = *told == 1;
        if (open)
            EXPECT_TRUE(waitUntil([&] { return service.frameCount() == 1; })) << "hello";
        else
            EXPECT_TRUE(service.channels.empty());
        await(client.end());
        return open;
    }
    static bool opens(const AccountService &service, const QString &authority) {
        return opens(service, service.channelURL(), authority);
    }

    // By all of this program so far, and by those that it has started and that have ended.
    static qint64 bytesRead() {
        QFile file(u"/proc/self/io"_s);
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        const auto number = file.readLine();
        EXPECT_TRUE(number.startsWith("rchar: "));
        return number.sliced(7).trimmed().toLongLong();
    }
    // For a request there, with all that it takes to make one.
    static qint64 bytesReadFor(const QString &base) {
        const auto before = bytesRead();
        ask(base, {});
        EXPECT_TRUE(waitUntil([] { return test::childrenOf(QCoreApplication::applicationPid()).isEmpty(); }));
        return bytesRead() - before;
    }

    Authority authority;
};

} // namespace

TEST_F(Encryption, AServiceOfTheNamedAuthorityIsTrusted) {
    AccountService service(authority.certify());
    EXPECT_EQ(complaint(service.base(), authority.file()), QString());
    ASSERT_EQ(service.requests.size(), 1U);
    EXPECT_EQ(service.requests[0].header("Authorization"), "Bearer tok");
    EXPECT_TRUE(opens(service, authority.file()));
}

TEST_F(Encryption, WithoutTheSettingThatAuthorityIsNoneOfTheSystems) {
    const AccountService service(authority.certify());
    EXPECT_EQ(complaint(service.base(), {}), u"SSL certificate problem: unable to get local issuer certificate"_s);
    EXPECT_FALSE(opens(service, {}));
    EXPECT_TRUE(service.requests.empty());
}

TEST_F(Encryption, NotAllAuthoritiesOfTheSystemAreReadForARequest) {
    constexpr qint64 FEW = 100'000; // bytes; the file of all has twice as many
    const AccountService plain;
    const AccountService encrypted(authority.certify());
    const auto least = bytesReadFor(plain.base());
    EXPECT_EQ(plain.requests.size(), 1U);
    EXPECT_LT(bytesReadFor(encrypted.base()) - least, FEW);
    EXPECT_TRUE(encrypted.requests.empty());
}

TEST_F(Encryption, AnotherAuthorityIsNotTrusted) {
    const AccountService service(authority.certify());
    const Authority other;
    EXPECT_TRUE(complaint(service.base(), other.file()).startsWith(u"SSL certificate problem: "_s));
    EXPECT_FALSE(opens(service, other.file()));
    EXPECT_TRUE(service.requests.empty());
}

TEST_F(Encryption, ACertificateForAnotherHostIsNotTrusted) {
    const AccountService service(authority.certify("elsewhere.test"));
    EXPECT_TRUE(
        complaint(service.base(), authority.file()).contains(u"no alternative certificate subject name matches"_s));
    EXPECT_FALSE(opens(service, authority.file()));
    EXPECT_TRUE(service.requests.empty());
}

TEST_F(Encryption, ACertificateThatHasExpiredIsNotTrusted) {
    const AccountService service(authority.certify("localhost", -1));
    EXPECT_EQ(complaint(service.base(), authority.file()), u"SSL certificate problem: certificate has expired"_s);
    EXPECT_FALSE(opens(service, authority.file()));
    EXPECT_TRUE(service.requests.empty());
}

TEST_F(Encryption, PlainWordsOnAnEncryptedPortAreNotAnswered) {
    const AccountService service(authority.certify());
    const auto plain = u"http://localhost:%1"_s.arg(service.port());
    EXPECT_TRUE(complaint(plain, {}).startsWith(u"It may be https that is spoken there, not http: "_s))
        << complaint(plain, {}).toStdString();
    EXPECT_FALSE(opens(service, QUrl(u"ws://localhost:%1/agent"_s.arg(service.port())), {}));
    EXPECT_TRUE(service.requests.empty());
}

TEST_F(Encryption, EncryptionOnAPlainPortIsNotUnderstood) {
    const AccountService nobody;
    QTcpServer plain;
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    QObject::connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
        auto *socket = plain.nextPendingConnection();
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] {
            socket->readAll();
            socket->write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
        });
    });
    const auto said = complaint(u"https://localhost:%1"_s.arg(plain.serverPort()), authority.file());
    EXPECT_TRUE(said.startsWith(u"It may be http that is spoken there, not https: "_s)) << said.toStdString();
    EXPECT_FALSE(opens(nobody, QUrl(u"wss://localhost:%1/agent"_s.arg(plain.serverPort())), authority.file()));
}

TEST_F(Encryption, SoundThatIsNotTakenIsKeptWithinBounds) {
    constexpr qsizetype MUCH = 64 << 20;
    constexpr qsizetype SOUND = 1 << 16;
    AccountService service(authority.certify());
    AgentClient client(
        {.url = service.channelURL(), .token = u"tok"_s, .userAgent = "ombru/1", .authority = authority.file()});
    client.start();
    ASSERT_TRUE(waitUntil([&] { return service.frameCount() == 1; }));
    auto &socket = *service.newest().socket;
    socket.setReadBufferSize(1);
    for (qsizetype size = 0; size < MUCH; size += SOUND) { // as sound does, one after the other
        client.sendAudio(QByteArray(SOUND, 'a'));
        const auto sent = std::make_shared<std::atomic<bool>>(false);
        client.send([sent] {
            *sent = true;
            return QByteArray("{}");
        });
        ASSERT_TRUE(waitUntil([&] { return sent->load(); }));
    }
    socket.setReadBufferSize(0);
    Q_EMIT socket.readyRead();
    ASSERT_TRUE(waitUntil([&] { // sound is taken again
        client.sendAudio("again");
        return service.newest().frames.back().payload == "again";
    }));
    const auto heard = std::ranges::count_if(
        service.newest().frames, [](const auto &frame) { return frame.opcode == 2 && frame.payload.size() == SOUND; });
    EXPECT_LT(heard, MUCH / SOUND / 2) << "that of the system's, and some of ours";
    await(client.end());
}

TEST_F(Encryption, AnAuthorityThatCannotBeReadIsNamed) {
    const AccountService service(authority.certify());
    EXPECT_TRUE(complaint(service.base(), u"/nonexistent/ca.pem"_s).contains(u"/nonexistent/ca.pem"_s));
    EXPECT_FALSE(opens(service, u"/nonexistent/ca.pem"_s));
}
