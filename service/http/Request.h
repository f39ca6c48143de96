// A request as the service's routes see it. Plain values, any thread.
#pragma once
#include <QByteArray>
#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace ombru {

enum class Method { get, post, put, remove, other };

using NameValues = std::vector<std::pair<QByteArray, QByteArray>>;

struct Request {
    Method method = Method::get;
    QString path;       // decoded, without the query
    NameValues query;   // decoded
    NameValues headers; // names in lower case
    QString peer;       // address of the other end of the connection, without its port
    QByteArray body;

    // The last of that name, in lower case for a header; empty when there is none.
    QByteArray header(QByteArrayView name) const;
    QByteArray queryItem(QByteArrayView name) const;

    QByteArray cookie(QByteArrayView name) const;
    QByteArray bearer() const; // the token of "Authorization: Bearer"
    bool wantsWebSocket() const;

    // The last address that a proxy says it asks for; empty when none does, or what it says is none.
    QString forwardedFor() const;
};

} // namespace ombru
