// A service to try ombru with by hand: ombru-service-stand-in [PORT [CONFIGURATION]]
//
// It knows one device code, which is approved once its page has been opened, and one configuration: what the file holds
// at the time. It prints what arrives. A line of input is a task for the computer; "stop", "listen on" and "listen off"
// are what they say, and a line that begins with "{" goes out as it is.
#include "tests/support/AccountService.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QTextStream>

#include <unistd.h>

using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

constexpr auto TOKEN = "stand-in-token";
constexpr auto USUAL_CONFIGURATION = R"({"email": "you@localhost", "trusted": true})";
constexpr int SAMPLES_A_SECOND = 24000;

void print(const QByteArray &line) {
    QTextStream(stdout) << QString::fromUtf8(line) << Qt::endl;
}

QByteArray json(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

class Service {
public:
    Service(quint16 port, QString configuration) : m_service({}, port), m_configuration(std::move(configuration)) {
        m_service.answer = [this](const AccountRequest &request) { return answer(request); };
        m_service.onFrame = [this](AccountService::Channel &channel) { show(channel); };
        print("listens on " + m_service.base().toUtf8());
    }

    void say(const QByteArray &line) {
        if (line.isEmpty())
            return;
        if (m_service.channels.empty() || m_service.newest().gone)
            return print("nobody is there");
        m_service.newest().sendText(message(line));
    }

private:
    static QByteArray message(const QByteArray &line) {
        if (line.startsWith('{'))
            return line;
        if (line == "stop")
            return json({{u"type"_s, u"cancel"_s}});
        if (line == "listen on" || line == "listen off")
            return json({{u"type"_s, u"listen"_s}, {u"on"_s, line == "listen on"}});
        return json({{u"type"_s, u"task"_s}, {u"text"_s, QString::fromUtf8(line)}});
    }

    AccountReply answer(const AccountRequest &request) {
        const auto path = request.line().split(' ').value(1);
        print("<- " + request.line() + (request.body.isEmpty() ? "" : ' ' + request.body));
        if (path == "/api/device/start")
            return {.body = json({{u"device_code"_s, u"the-device"_s},
                                  {u"user_code"_s, u"ONE-CODE"_s},
                                  {u"verify_url"_s, m_service.base() + u"/verify"_s}})};
        if (path == "/verify")
            return approve();
        if (path == "/api/device/poll")
            return {.body = m_approved ? json({{u"status"_s, u"ok"_s}, {u"token"_s, QString::fromLatin1(TOKEN)}})
                                       : json({{u"status"_s, u"pending"_s}})};
        if (path != "/api/device/config")
            return {.status = 404};
        return request.header("Authorization") == QByteArray("Bearer ") + TOKEN ? AccountReply{.body = configuration()}
                                                                                : AccountReply{.status = 401};
    }

    AccountReply approve() {
        m_approved = true;
        return {.body = "The computer is signed in.\n", .headers = "Content-Type: text/plain\r\n"};
    }

    QByteArray configuration() const {
        QFile file(m_configuration);
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray(USUAL_CONFIGURATION);
    }

    void show(AccountService::Channel &channel) {
        const auto frame = channel.frames.back();
        channel.frames.clear();
        if (frame.opcode == 1)
            print("<- " + shortened(frame.payload));
        else if (frame.opcode == 2)
            count(frame.payload.size() / 2);
        else if (frame.opcode == 8)
            goodbye(channel, frame);
        else if (frame.opcode == 9)
            channel.send({10, frame.payload});
    }

    static QByteArray shortened(const QByteArray &text) {
        constexpr qsizetype MOST = 1000;
        return text.size() <= MOST ? text : text.first(MOST) + "... (" + QByteArray::number(text.size()) + " bytes)";
    }

    void count(qsizetype samples) {
        const auto seconds = m_samples / SAMPLES_A_SECOND;
        m_samples += samples;
        if (m_samples / SAMPLES_A_SECOND > seconds)
            print("<- sound: " + QByteArray::number(m_samples / SAMPLES_A_SECOND) + " s");
    }

    static void goodbye(AccountService::Channel &channel, const ChannelFrame &frame) {
        const auto *code = reinterpret_cast<const uchar *>(frame.payload.constData());
        print("<- goodbye " + (frame.payload.size() < 2 ? "" : QByteArray::number(code[0] << 8 | code[1])));
        channel.send(frame);
        channel.socket->disconnectFromHost();
    }

    AccountService m_service;
    QString m_configuration;
    bool m_approved = false;
    qint64 m_samples = 0;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const auto arguments = QCoreApplication::arguments();
    Service service(arguments.value(1, u"8787"_s).toUShort(), arguments.value(2));
    QByteArray input;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [&] {
        char bytes[4096];
        const auto count = read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0)
            return notifier.setEnabled(false);
        input.append(bytes, count);
        for (auto end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            service.say(input.first(end).trimmed());
            input.remove(0, end + 1);
        }
    });
    return application.exec();
}
