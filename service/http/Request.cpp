#include "service/http/Request.h"

#include <QHostAddress>

#include <algorithm>

namespace ombru {

namespace {

QByteArray last(const NameValues &values, QByteArrayView name) {
    const auto found =
        std::find_if(values.rbegin(), values.rend(), [&](const auto &each) { return each.first == name; });
    return found == values.rend() ? QByteArray() : found->second;
}

} // namespace

QByteArray Request::header(QByteArrayView name) const {
    return last(headers, name);
}

QByteArray Request::queryItem(QByteArrayView name) const {
    return last(query, name);
}

QByteArray Request::cookie(QByteArrayView name) const {
    for (const auto &each : header("cookie").split(';')) {
        const auto pair = each.trimmed();
        if (pair.startsWith(name) && pair.mid(name.size()).startsWith('='))
            return pair.mid(name.size() + 1);
    }
    return {};
}

QByteArray Request::bearer() const {
    constexpr QByteArrayView SCHEME = "bearer ";
    const auto value = header("authorization");
    return value.first(std::min(value.size(), SCHEME.size())).toLower() == SCHEME ? value.mid(SCHEME.size())
                                                                                  : QByteArray();
}

QString Request::forwardedFor() const {
    const auto said = header("x-forwarded-for").split(',').last().trimmed();
    const QHostAddress address(QString::fromLatin1(said));
    return address.isNull() ? QString() : address.toString();
}

bool Request::wantsWebSocket() const {
    return method == Method::get && header("upgrade").toLower() == "websocket" &&
           header("sec-websocket-version") == "13" && QByteArray::fromBase64(header("sec-websocket-key")).size() == 16;
}

} // namespace ombru
