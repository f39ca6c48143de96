#include "cloud/PlainHttp.h"

#include <QHostAddress>
#include <QUrl>

namespace ombru {

using namespace Qt::StringLiterals;

bool isReadableOnTheWay(const QString &address) {
    const QUrl url(address);
    const bool plain = url.scheme() == "http"_L1 || url.scheme() == "ws"_L1;
    const auto host = url.host();
    const bool here = host == "localhost"_L1 || host.endsWith(".localhost"_L1) || QHostAddress(host).isLoopback();
    return plain && !here;
}

QString readableOnTheWayText(const QString &address) {
    return u"%1 is not encrypted. Whoever is on the way can read the token that signs this computer in, every task, "
           u"the "
           "event log and the pictures of your screen, and can hand this computer tasks. Use https (wss), unless all "
           "of "
           "the way is yours."_s.arg(address);
}

QString speechReadableOnTheWayText(const QString &address) {
    return u"%1 is not encrypted. Whoever is on the way can read the speech service's key, hear your calls, and put "
           u"words "
           u"into your mouth, which become tasks. Use https, unless all of the way is yours."_s.arg(address);
}

} // namespace ombru
