// What a request is answered. Plain values, any thread, but the taker of an upgraded connection: it is called on the
// main thread.
#pragma once
#include "net/Socket.h"
#include "service/http/Request.h"

#include <QJsonObject>

#include <functional>

namespace ombru {

// A connection that has become a WebSocket, and what the peer has sent behind its request already.
using TakeConnection = std::function<void(Accepted connection, QByteArray already)>;

struct Response {
    int status = 200;
    QByteArray type = {}; // of the body
    QByteArray body = {};
    NameValues headers = {};
    TakeConnection take = {}; // answered by 101 then
};

// The errors that a page tells apart; each has its status.
enum class Refusal { signedOut, forbidden, notFound, badRequest, tooLarge, conflict, tooMany, full, wrong, failed };

Response answer(const QJsonObject &object);
Response noContent();
Response refuse(Refusal refusal, const QString &message, QJsonObject more = {});

} // namespace ombru
