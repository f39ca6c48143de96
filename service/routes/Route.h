// What a route is: which requests, who may, what it may cost, and what answers it. Handlers get parsed values and
// answer with values. Main thread.
#pragma once
#include "service/http/Response.h"
#include "service/routes/Service.h"

#include <QJsonObject>

#include <span>

namespace ombru {

enum class Who {
    anyone,   // no session is looked for
    visitor,  // with a session or without
    account,  // with a session; a change also needs its token against forged requests
    page,     // the same, for a WebSocket: it needs the page's origin
    computer, // with its token
    operators // this computer, or the proxy's network
};

// What one address may ask for.
enum class Pace { usual, careful, frequent };

struct Limits {
    qsizetype body = 0; // bytes
    Pace pace = Pace::usual;
};

// A request that may be answered.
struct Asked {
    Request request;
    QString address;         // of who asks, behind a proxy that we know
    QString id;              // what stands in place of the path's star
    QJsonObject body;        // empty without one
    Account account;         // for an account's routes
    QByteArray session;      // its session, as it is kept; empty for none
    QByteArray csrf;         // the session's token against forged requests
    ComputerRecord computer; // for a computer's routes
};

struct Route {
    Method method;
    QStringView path; // a star is one part of it, two at the end all the rest
    Who who;
    Limits limits;
    Task<Response> (*handler)(Service &, Asked);
};

std::span<const Route> routes();

// How a failure of the store is answered: it is written down, and only its kind is said.
Response failed(const Failure &failure);

} // namespace ombru
