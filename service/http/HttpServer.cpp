#include "service/http/HttpServer.h"

#include "net/HttpHead.h"
#include "service/rates/Rates.h"

#include <QSocketNotifier>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <fcntl.h>
#include <map>
#include <microhttpd.h>
#include <sys/socket.h>
#include <unordered_map>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration LOOKED_AFTER = 5s; // connections that take too long
constexpr unsigned MOST_SILENT_SECONDS = 60;

Failure httpFailure(const QString &why) {
    return {u"http"_s, 0, why};
}

Descriptor copyOf(int descriptor) {
    return Descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
}

QString hostOf(const sockaddr *address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address->sa_family == AF_INET) {
        ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(address)->sin_addr, text.data(), text.size());
    } else {
        const auto &six = reinterpret_cast<const sockaddr_in6 *>(address)->sin6_addr;
        const bool four = IN6_IS_ADDR_V4MAPPED(&six);
        ::inet_ntop(four ? AF_INET : AF_INET6, four ? six.s6_addr + 12 : six.s6_addr, text.data(), text.size());
    }
    return QString::fromLatin1(text.data());
}

Method methodOf(std::string_view name) {
    if (name == "GET" || name == "HEAD")
        return Method::get;
    if (name == "POST")
        return Method::post;
    if (name == "PUT")
        return Method::put;
    return name == "DELETE" ? Method::remove : Method::other;
}

extern "C" MHD_Result addHeader(void *request, MHD_ValueKind, const char *name, const char *value) {
    static_cast<Request *>(request)->headers.emplace_back(QByteArray(name).toLower(), value ? value : "");
    return MHD_YES;
}

extern "C" MHD_Result addQueryItem(void *request, MHD_ValueKind, const char *name, const char *value) {
    static_cast<Request *>(request)->query.emplace_back(name, value ? value : "");
    return MHD_YES;
}

// What two servers may understand differently is not understood here.
bool isAmbiguous(const Request &request) {
    const auto count = [&](QByteArrayView name) {
        return std::ranges::count_if(request.headers, [&](const auto &each) { return each.first == name; });
    };
    return count("content-length") + count("transfer-encoding") > 1 || count("host") != 1;
}

} // namespace

class HttpServer::Daemon {
public:
    explicit Daemon(Options options) : m_options(std::move(options)) {}
    ~Daemon() { end(); }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    Result<> start();
    Task<> stop();

    std::uint16_t port() const { return m_port; }
    int connections() const { return static_cast<int>(m_connections.size()); }

private:
    // A request from its head to the end of its answer.
    struct Exchange {
        Daemon &daemon;
        MHD_Connection *connection;
        Request request;
        qsizetype mostBody = 0;
        std::optional<Response> response;
    };
    struct Connection {
        QString peer;
        QString network;   // its
        Clock::Time since; // when it was opened, or its last answer was given
        bool answering = false;
    };

    static MHD_Result onAccept(void *self, const sockaddr *address, socklen_t size);
    static void onConnection(void *self, MHD_Connection *connection, void **context,
                             MHD_ConnectionNotificationCode code);
    static MHD_Result onRequest(void *self, MHD_Connection *connection, const char *path, const char *method,
                                const char *version, const char *data, size_t *size, void **context);
    static void onDone(void *self, MHD_Connection *connection, void **context, MHD_RequestTerminationCode code);
    static void onUpgrade(void *exchange, MHD_Connection *connection, void *context, const char *already, size_t size,
                          MHD_socket socket, MHD_UpgradeResponseHandle *handle);

    void turn();
    void turnSoon();
    void letGo();
    void end();
    void lookAfter();
    MHD_Result begin(MHD_Connection *connection, const char *path, const char *method, void **context);
    MHD_Result receive(Exchange &exchange, const char *data, size_t &size);
    Task<> answer(MHD_Connection *connection, Exchange *exchange);
    MHD_Result give(Exchange &exchange);

    Options m_options;
    std::uint16_t m_port = 0;
    MHD_Daemon *m_daemon = nullptr;
    std::unique_ptr<QSocketNotifier> m_notifier;
    Timer m_timer;
    Timer m_looking;
    bool m_turning = false;
    std::map<const void *, std::unique_ptr<Exchange>> m_exchanges;
    std::unordered_map<MHD_Connection *, Connection> m_connections;
    std::vector<MHD_UpgradeResponseHandle *> m_handedOver;
    TaskScope m_tasks;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

// --- The library's loop in ours

Result<> HttpServer::Daemon::start() {
    const auto socket = makeListeningSocket(m_options.interface);
    if (!socket)
        return std::unexpected(networkFailure(socket.error()));
    const auto port = listenOn(*socket, m_options.interface, m_options.port);
    if (!port)
        return std::unexpected(networkFailure(port.error()));
    m_port = *port;
    const int theirs = ::fcntl(socket->number(), F_DUPFD_CLOEXEC, 0); // the library closes it
    m_daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_UPGRADE | MHD_ALLOW_SUSPEND_RESUME, 0, &onAccept, this,
                                &onRequest, this, MHD_OPTION_LISTEN_SOCKET, theirs, MHD_OPTION_CONNECTION_LIMIT,
                                static_cast<unsigned>(m_options.mostConnections), MHD_OPTION_CONNECTION_TIMEOUT,
                                MOST_SILENT_SECONDS, MHD_OPTION_CONNECTION_MEMORY_LIMIT, 2 * MOST_OF_HEAD,
                                MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_NOTIFY_CONNECTION, &onConnection, this,
                                MHD_OPTION_NOTIFY_COMPLETED, &onDone, this, MHD_OPTION_END);
    if (!m_daemon) {
        ::close(theirs);
        return std::unexpected(httpFailure(u"The HTTP server cannot be started."_s));
    }
    const auto *info = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_EPOLL_FD);
    m_notifier = std::make_unique<QSocketNotifier>(info->epoll_fd, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { turn(); });
    lookAfter();
    return {};
}

void HttpServer::Daemon::turn() {
    m_turning = false;
    if (!m_daemon)
        return;
    letGo();
    MHD_run(m_daemon);
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    if (MHD_get_timeout(m_daemon, &milliseconds) != MHD_YES)
        m_timer.cancel();
    else if (milliseconds == 0)
        turnSoon();
    else
        m_timer = Loop::main().after(std::chrono::milliseconds(milliseconds), [this] { turn(); });
}

// Of connections that are another's now: not within the call that has told of them.
void HttpServer::Daemon::letGo() {
    for (auto *handle : std::exchange(m_handedOver, {}))
        MHD_upgrade_action(handle, MHD_UPGRADE_ACTION_CLOSE);
}

void HttpServer::Daemon::turnSoon() {
    if (std::exchange(m_turning, true))
        return;
    Loop::main().post([this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            turn();
    });
}

// The library's limit begins anew with each byte, so that a slow one could stay for ever.
void HttpServer::Daemon::lookAfter() {
    for (const auto &[connection, its] : m_connections) {
        if (its.answering || Clock::now() - its.since <= m_options.requestLimit)
            continue;
        const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        ::shutdown(info->connect_fd, SHUT_RDWR);
    }
    m_looking = Loop::main().after(LOOKED_AFTER, [this] { lookAfter(); });
}

Task<> HttpServer::Daemon::stop() {
    if (m_daemon)
        Descriptor(MHD_quiesce_daemon(m_daemon)).close();
    co_await m_tasks.drain();
    end();
}

void HttpServer::Daemon::end() {
    m_looking.cancel();
    m_timer.cancel();
    if (!m_daemon)
        return;
    constexpr int LAST_TURNS = 10; // give what was answered last
    for (int number = 0; number < LAST_TURNS; ++number) {
        MHD_run(m_daemon);
        letGo();
    }
    m_notifier.reset();
    MHD_stop_daemon(std::exchange(m_daemon, nullptr));
}

// --- Connections

MHD_Result HttpServer::Daemon::onAccept(void *self, const sockaddr *address, socklen_t /*size*/) {
    const auto &daemon = *static_cast<Daemon *>(self);
    const auto peer = hostOf(address);
    if (peer == "127.0.0.1"_L1 || peer == "::1"_L1)
        return MHD_YES;
    const auto network = networkOf(peer);
    const auto open =
        std::ranges::count_if(daemon.m_connections, [&](const auto &each) { return each.second.network == network; });
    const auto &options = daemon.m_options;
    const bool fits = open < options.mostOfOneAddress || (options.isProxy && options.isProxy(peer));
    return fits ? MHD_YES : MHD_NO;
}

void HttpServer::Daemon::onConnection(void *self, MHD_Connection *connection, void ** /*context*/,
                                      MHD_ConnectionNotificationCode code) {
    auto &connections = static_cast<Daemon *>(self)->m_connections;
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        connections.erase(connection);
        return;
    }
    const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    const auto peer = hostOf(info->client_addr);
    connections.emplace(connection, Connection{peer, networkOf(peer), Clock::now()});
}

// --- Requests

MHD_Result HttpServer::Daemon::onRequest(void *self, MHD_Connection *connection, const char *path, const char *method,
                                         const char * /*version*/, const char *data, size_t *size, void **context) {
    auto &daemon = *static_cast<Daemon *>(self);
    if (!*context)
        return daemon.begin(connection, path, method, context);
    auto &exchange = *static_cast<Exchange *>(*context);
    if (*size > 0)
        return daemon.receive(exchange, data, *size);
    if (exchange.response)
        return daemon.give(exchange);
    MHD_suspend_connection(connection);
    daemon.m_connections[connection].answering = true;
    daemon.m_tasks.start(daemon.answer(connection, &exchange));
    return MHD_YES;
}

MHD_Result HttpServer::Daemon::begin(MHD_Connection *connection, const char *path, const char *method, void **context) {
    auto made = std::make_unique<Exchange>(*this, connection);
    auto &exchange = *made;
    *context = made.get();
    m_exchanges.emplace(made.get(), std::move(made));
    auto &request = exchange.request;
    request.method = methodOf(method);
    request.path = QString::fromUtf8(path);
    request.peer = m_connections[connection].peer;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &addHeader, &request);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &addQueryItem, &request);
    exchange.mostBody = m_options.mostBody(request);
    if (isAmbiguous(request))
        exchange.response = refuse(Refusal::badRequest, u"The request can be understood in more than one way."_s);
    else if (request.header("content-length").toLongLong() > exchange.mostBody)
        exchange.response = refuse(Refusal::tooLarge, u"That is more than is taken here."_s);
    if (!exchange.response)
        return MHD_YES;
    exchange.response->headers.emplace_back("Connection", "close");
    return give(exchange);
}

MHD_Result HttpServer::Daemon::receive(Exchange &exchange, const char *data, size_t &size) {
    const auto count = static_cast<qsizetype>(std::exchange(size, 0));
    if (exchange.request.body.size() + count > exchange.mostBody)
        return MHD_NO; // it did not say so before: the connection is closed
    exchange.request.body.append(data, count);
    return MHD_YES;
}

Task<> HttpServer::Daemon::answer(MHD_Connection *connection, Exchange *exchange) {
    exchange->response = co_await m_options.answer(std::move(exchange->request));
    MHD_resume_connection(connection);
    turnSoon();
}

MHD_Result HttpServer::Daemon::give(Exchange &exchange) {
    const auto &response = *exchange.response;
    auto *given = response.take ? MHD_create_response_for_upgrade(&onUpgrade, &exchange)
                                : MHD_create_response_from_buffer(static_cast<std::size_t>(response.body.size()),
                                                                  const_cast<char *>(response.body.data()),
                                                                  MHD_RESPMEM_MUST_COPY);
    if (!given)
        return MHD_NO;
    if (!response.type.isEmpty())
        MHD_add_response_header(given, MHD_HTTP_HEADER_CONTENT_TYPE, response.type.constData());
    for (const auto &[name, value] : response.headers)
        MHD_add_response_header(given, name.constData(), value.constData());
    const auto status = response.take ? MHD_HTTP_SWITCHING_PROTOCOLS : static_cast<unsigned>(response.status);
    const auto queued = MHD_queue_response(exchange.connection, status, given);
    MHD_destroy_response(given); // the connection keeps it
    return queued;
}

void HttpServer::Daemon::onDone(void *self, MHD_Connection *connection, void **context,
                                MHD_RequestTerminationCode /*code*/) {
    auto &daemon = *static_cast<Daemon *>(self);
    daemon.m_exchanges.erase(std::exchange(*context, nullptr));
    if (const auto known = daemon.m_connections.find(connection); known != daemon.m_connections.end())
        known->second = {known->second.peer, known->second.network, Clock::now()};
}

// The library closes its descriptor once it is let go of; ours is another one of the same connection.
void HttpServer::Daemon::onUpgrade(void *given, MHD_Connection * /*connection*/, void * /*context*/,
                                   const char *already, size_t size, MHD_socket socket,
                                   MHD_UpgradeResponseHandle *handle) {
    auto &exchange = *static_cast<Exchange *>(given);
    auto copy = copyOf(socket);
    const QByteArray rest(already, static_cast<qsizetype>(size));
    auto &daemon = exchange.daemon;
    const auto take = std::move(exchange.response->take);
    const auto peer = daemon.m_connections[exchange.connection].peer;
    daemon.m_handedOver.push_back(handle);
    daemon.turnSoon();
    if (copy.isOpen())
        take({std::move(copy), peer}, rest);
}

// --- The server

HttpServer::HttpServer(std::unique_ptr<Daemon> daemon) : m_daemon(std::move(daemon)) {}
HttpServer::~HttpServer() = default;

Result<std::unique_ptr<HttpServer>> HttpServer::start(Options options) {
    auto daemon = std::make_unique<Daemon>(std::move(options));
    if (const auto started = daemon->start(); !started)
        return std::unexpected(started.error());
    return std::unique_ptr<HttpServer>(new HttpServer(std::move(daemon)));
}

std::uint16_t HttpServer::port() const {
    return m_daemon->port();
}

int HttpServer::connections() const {
    return m_daemon->connections();
}

Task<> HttpServer::stop() {
    return m_daemon->stop();
}

} // namespace ombru
