#include "voice/Upgrade.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView BEARER = "bearer "_L1;

UpgradeReply refuse(const char *status) {
    return {false, QByteArray("HTTP/1.1 ") + status + "\r\nContent-Length: 0\r\n\r\n"};
}

QString presentedToken(const HttpHead &head) {
    const auto authorization = head.header(u"authorization"_s);
    if (authorization && authorization->startsWith(BEARER, Qt::CaseInsensitive))
        return authorization->mid(BEARER.size());
    return head.queryItem(u"token"_s).value_or(QString());
}

} // namespace

UpgradeReply replyToUpgrade(const HttpHead &head, const QString &token, const QSet<QString> &routes) {
    const auto key = head.header(u"sec-websocket-key"_s);
    if (!key || head.header(u"upgrade"_s).value_or(QString()).toLower() != "websocket"_L1)
        return refuse("426 Upgrade Required");
    if (token.isEmpty() || presentedToken(head) != token || !routes.contains(head.path))
        return refuse("401 Unauthorized");
    return {true, "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                  "Sec-WebSocket-Accept: " +
                      webSocketAcceptance(key->toUtf8()) + "\r\n\r\n"};
}

} // namespace ombru
