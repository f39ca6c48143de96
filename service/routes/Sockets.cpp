// The two WebSockets: a computer's, and a page's. Nobody is let in who is not known before.

#include "net/HttpHead.h"
#include "service/routes/Handlers.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Response upgraded(const Request &request, TakeConnection take) {
    return {.status = 101,
            .headers = {{"Upgrade", "websocket"},
                        {"Sec-WebSocket-Accept", webSocketAcceptance(request.header("sec-websocket-key"))}},
            .take = std::move(take)};
}

Response noSocket() {
    auto response = refuse(Refusal::badRequest, u"This address is for a WebSocket."_s);
    response.status = 426;
    response.headers.emplace_back("Upgrade", "websocket");
    return response;
}

} // namespace

Task<Response> openAgent(Service &service, Asked asked) {
    if (!asked.request.wantsWebSocket())
        co_return noSocket();
    co_return upgraded(asked.request,
                       [hub = service.hub, id = asked.computer.id](Accepted connection, QByteArray already) {
                           hub->takeComputer(id, std::move(connection), std::move(already));
                       });
}

Task<Response> openPage(Service &service, Asked asked) {
    if (!asked.request.wantsWebSocket())
        co_return noSocket();
    const Page::Owner owner{asked.account.id, asked.session};
    co_return upgraded(asked.request, [hub = service.hub, owner](Accepted connection, QByteArray already) {
        hub->takePage(owner, std::move(connection), std::move(already));
    });
}

} // namespace ombru
