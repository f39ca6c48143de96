// The least program of this toolkit that stays connected to the service as the application does: a channel, a ping each
// 25 seconds, a request each minute. Usage: bench-least-client BASE TOKEN
#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QWebSocket>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QNetworkRequest request(const QString &address, const QString &token) {
    QNetworkRequest request{QUrl(address)};
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    return request;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const auto base = QCoreApplication::arguments().value(1);
    const auto token = QCoreApplication::arguments().value(2);
    QWebSocket channel;
    QTimer pinger;
    QObject::connect(&pinger, &QTimer::timeout, &channel, [&] { channel.ping(); });
    QNetworkAccessManager manager;
    QTimer beat;
    const auto ask = [&] {
        auto *reply = manager.get(request(base + u"/api/device/config"_s, token));
        QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    };
    QObject::connect(&beat, &QTimer::timeout, &manager, ask);
    channel.open(request(u"ws"_s + base.sliced(4) + u"/agent"_s, token));
    ask();
    pinger.start(25s);
    beat.start(60s);
    return QCoreApplication::exec();
}
