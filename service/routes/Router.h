// Leads a request to its route: sees whether who asks may, and not too often, and gives what every answer has. Main
// thread.
#pragma once
#include "service/routes/Route.h"

namespace ombru {

class Router {
public:
    explicit Router(Service &service) : m_service(service) {}

    qsizetype mostBody(const Request &request) const; // bytes
    Task<Response> answer(Request request);

private:
    // None when it may.
    Task<std::optional<Response>> refusal(const Route &route, Asked &asked);
    Task<std::optional<Response>> refusalOfAccount(const Route &route, Asked &asked);
    Task<std::optional<Response>> refusalOfComputer(Asked &asked);
    Task<Result<>> findSession(Asked &asked);
    Task<Response> lead(Request request);
    Task<Response> leadAmongOthers(Request request, QString network);
    QString addressOf(const Request &request) const;
    bool fitsOrigin(const Request &request) const;
    bool paces(const Route &route, const QString &address);

    Service &m_service;
    Rate m_usual{{.atOnce = 300, .aMinute = 600}};
    Rate m_careful{{.atOnce = 30, .aMinute = 30}};
    Rate m_frequent{{.atOnce = 3000, .aMinute = 6000}};
    std::unordered_map<QString, int> m_underWay; // requests, by network
};

// Which route takes it, and what is in place of its star; no route when there is none.
struct Led {
    const Route *route = nullptr;
    QString id;
};
Led findRoute(Method method, QStringView path);

} // namespace ombru
