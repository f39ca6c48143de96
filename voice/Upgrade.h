// What a request to become a WebSocket is answered: who may, and in which words. Pure, any thread.
#pragma once
#include "net/HttpHead.h"

#include <QByteArray>
#include <QSet>
#include <QString>

namespace ombru {

struct UpgradeReply {
    bool accepted;
    QByteArray bytes;
};

// An empty `token` refuses everybody. The client's comes as a bearer token, or else as the query item "token".
UpgradeReply replyToUpgrade(const HttpHead &head, const QString &token, const QSet<QString> &routes);

} // namespace ombru
