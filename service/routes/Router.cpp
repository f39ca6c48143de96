#include "service/routes/Router.h"

#include "service/log/Log.h"
#include "service/routes/Handlers.h"

#include <QHostAddress>
#include <QJsonDocument>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src "
                        "'self'; manifest-src 'self'; worker-src 'self'; media-src 'self' blob:; base-uri 'none'; "
                        "form-action 'self'; frame-ancestors 'none'";
constexpr auto WAIT_SECONDS = "10";
constexpr int MOST_AT_ONCE = 50; // requests of a network

// What fills the star; none when it is another path.
std::optional<QString> filled(QStringView pattern, QStringView path) {
    const auto star = pattern.indexOf(u'*');
    if (star < 0)
        return pattern == path ? std::optional(QString()) : std::nullopt;
    if (pattern.endsWith(u"**"))
        return path.startsWith(pattern.first(star)) ? std::optional(path.sliced(star).toString()) : std::nullopt;
    const auto behind = pattern.sliced(star + 1);
    if (!path.startsWith(pattern.first(star)) || !path.endsWith(behind) || path.size() <= star + behind.size())
        return std::nullopt;
    const auto middle = path.sliced(star).chopped(behind.size());
    return middle.contains(u'/') ? std::nullopt : std::optional(middle.toString());
}

bool isChange(Method method) {
    return method == Method::post || method == Method::put || method == Method::remove;
}

// A computer takes each JSON object for its configuration, whatever the status: a refusal must be none.
Response forComputer(const Response &response) {
    return {.status = response.status, .type = "text/plain", .body = "not now\n", .headers = response.headers};
}

// Somebody's browser, which shows what it gets.
bool isVisit(const Request &request) {
    return request.method == Method::get && request.header("accept").contains("text/html") &&
           !request.path.startsWith("/api/"_L1) && !request.path.startsWith("/web/"_L1);
}

Response nothingAt(QStringView path) {
    const auto response = refuse(Refusal::notFound, u"There is nothing at this address."_s);
    return path.startsWith(u"/api/device/") ? forComputer(response) : response;
}

Response tooOften() {
    auto response = refuse(Refusal::tooMany, u"That was asked too often; wait a moment."_s);
    response.headers.emplace_back("Retry-After", WAIT_SECONDS);
    return response;
}

void addCommonHeaders(Response &response) {
    if (response.take)
        return;
    response.headers.emplace_back("Content-Security-Policy", POLICY);
    response.headers.emplace_back("X-Content-Type-Options", "nosniff");
    response.headers.emplace_back("Referrer-Policy", "no-referrer");
    response.headers.emplace_back("Cross-Origin-Opener-Policy", "same-origin");
    response.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
}

} // namespace

// The address of a service may end with a slash; a computer then asks with two.
Led findRoute(Method method, QStringView path) {
    while (path.startsWith(u"//"))
        path = path.sliced(1);
    for (const auto &route : routes())
        if (route.method == method)
            if (const auto id = filled(route.path, path))
                return {&route, *id};
    return {};
}

qsizetype Router::mostBody(const Request &request) const {
    const auto led = findRoute(request.method, request.path);
    return led.route ? led.route->limits.body : 0;
}

Task<Response> Router::answer(Request request) {
    const auto method = request.method;
    const auto path = request.path;
    const auto peer = addressOf(request);
    const bool wantsWebSocket = request.wantsWebSocket();
    auto response = co_await leadAmongOthers(std::move(request), networkOf(peer));
    addCommonHeaders(response);
    if (wantsWebSocket && !response.take) // its client waits for the end of the connection
        response.headers.emplace_back("Connection", "close");
    m_service.answers.count(response.take ? 101 : response.status);
    if (isChange(method) || response.status >= 400)
        logEvent(u"request", {{u"path", path}, {u"status", QString::number(response.status)}, {u"address", peer}});
    co_return response;
}

// A proxy in front has one connection for many; so what counts is what one network has asked and not been answered.
// This computer's own programs are many.
Task<Response> Router::leadAmongOthers(Request request, QString network) {
    auto &underWay = m_underWay[network];
    if (underWay >= MOST_AT_ONCE && !isLoopback(network))
        co_return tooOften();
    ++underWay;
    auto response = co_await lead(std::move(request));
    if (const auto its = m_underWay.find(network); --its->second == 0)
        m_underWay.erase(its);
    co_return response;
}

Task<Response> Router::lead(Request request) {
    const auto led = findRoute(request.method, request.path);
    if (!led.route && !m_usual.allows(networkOf(addressOf(request))))
        co_return tooOften();
    if (!led.route)
        co_return isVisit(request) ? nothingOnPage(request) : nothingAt(request.path);
    const auto &route = *led.route;
    Asked asked;
    asked.request = std::move(request);
    asked.address = addressOf(asked.request);
    asked.id = led.id;
    auto refused = co_await refusal(route, asked);
    if (!refused)
        co_return co_await route.handler(m_service, std::move(asked));
    co_return route.who == Who::computer ? forComputer(*refused) : *std::move(refused);
}

Task<std::optional<Response>> Router::refusal(const Route &route, Asked &asked) {
    if (!paces(route, asked.address))
        co_return tooOften();
    if (!asked.request.body.isEmpty()) {
        const auto document = QJsonDocument::fromJson(asked.request.body);
        if (!document.isObject())
            co_return refuse(Refusal::badRequest, u"The request is no JSON object."_s);
        asked.body = document.object();
    }
    if (route.who == Who::computer)
        co_return co_await refusalOfComputer(asked);
    const bool forwarded =
        !asked.request.header("x-forwarded-for").isEmpty() || !asked.request.header("forwarded").isEmpty();
    const bool here = isLoopback(asked.address) && (!forwarded || asked.address != asked.request.peer);
    if (route.who == Who::operators && !here && !isInNetwork(asked.address, m_service.settings.proxy()))
        co_return refuse(Refusal::forbidden, u"This is for who runs the service."_s);
    co_return co_await refusalOfAccount(route, asked);
}

Task<std::optional<Response>> Router::refusalOfAccount(const Route &route, Asked &asked) {
    if (route.who != Who::anyone && route.who != Who::operators)
        if (const auto found = co_await findSession(asked); !found)
            co_return failed(found.error());
    const bool needed = route.who == Who::account || route.who == Who::page;
    if (needed && asked.session.isEmpty())
        co_return refuse(Refusal::signedOut, u"Sign in first."_s);
    const bool fromPage = fitsOrigin(asked.request);
    const bool named = !asked.request.header("origin").isEmpty();
    if ((route.who == Who::page && !fromPage) || (isChange(route.method) && named && !fromPage))
        co_return refuse(Refusal::forbidden, u"The request comes from another page."_s);
    if (route.who == Who::account && isChange(route.method) &&
        !sameSecret(asked.request.header("x-csrf-token"), asked.csrf))
        co_return refuse(Refusal::forbidden, u"The request does not come from the page."_s);
    co_return std::nullopt;
}

Task<Result<>> Router::findSession(Asked &asked) {
    const auto token = asked.request.cookie("ombru_session");
    if (token.isEmpty())
        co_return {};
    const auto kept = keptOf(token);
    const auto account = co_await m_service.store.ask(
        [kept, now = Clock::unixSeconds()](Store &its) { return its.accounts.sessionOf(kept, now); });
    if (!account)
        co_return std::unexpected(account.error());
    if (*account) {
        asked.account = **account;
        asked.session = kept;
        asked.csrf = csrfOf(token);
    }
    co_return {};
}

Task<std::optional<Response>> Router::refusalOfComputer(Asked &asked) {
    const auto token = asked.request.bearer();
    const auto computer =
        co_await m_service.store.ask([kept = keptOf(token)](Store &its) { return its.computers.ofToken(kept); });
    if (!computer)
        co_return failed(computer.error());
    if (!*computer)
        co_return refuse(Refusal::signedOut, u"The computer is not signed in."_s);
    asked.computer = **computer;
    co_return std::nullopt;
}

// A forwarded address is only what somebody says, unless the proxy in front says it; its own word is the last.
QString Router::addressOf(const Request &request) const {
    const auto said = request.forwardedFor();
    return said.isEmpty() || !isInNetwork(request.peer, m_service.settings.proxy()) ? request.peer : said;
}

// On this computer a browser may call it by any of its names.
bool Router::fitsOrigin(const Request &request) const {
    const QUrl origin(QString::fromLatin1(request.header("origin")), QUrl::StrictMode);
    const auto &own = m_service.publicURL;
    const auto isHere = [](const QString &host) { return host == "localhost"_L1 || isLoopback(host); };
    const bool sameHost = origin.host() == own.host() || (isHere(origin.host()) && isHere(own.host()));
    const int usual = own.scheme() == "https"_L1 ? 443 : 80;
    return sameHost && origin.scheme() == own.scheme() && origin.port(usual) == own.port(usual);
}

bool Router::paces(const Route &route, const QString &address) {
    switch (route.limits.pace) {
    case Pace::usual:
        return m_usual.allows(networkOf(address));
    case Pace::careful:
        return m_careful.allows(networkOf(address));
    case Pace::frequent:
        return m_frequent.allows(networkOf(address));
    }
    return false;
}

} // namespace ombru
