#include "voice/WSServer.h"

#include "net/Transport.h"

#include <algorithm>
#include <deque>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QSet<QString> ROUTES = {u"/"_s, u"/media"_s};

constexpr std::size_t FEW = 64;

// Handshakes have no limit of time, so there is one of number, which leaves most of the descriptors that this process
// may have to others. The one that has waited longest makes room.
constexpr std::size_t MOST_PENDING = 2048;

std::size_t mostPending() {
    return std::clamp<std::size_t>(mostDescriptors() / 2, 1, MOST_PENDING);
}

} // namespace

// What is on the queue.
class WSServer::Line : public std::enable_shared_from_this<Line> {
public:
    Line(std::shared_ptr<Transport> transport, Options options)
        : m_transport(std::move(transport)), m_options(std::move(options)) {}
    ~Line() {
        for (const auto &pending : m_pending)
            if (const auto connection = pending.lock(); connection && connection->isPending())
                connection->drop();
    }

    SerialQueue &queue() { return m_transport->queue(); }
    quint16 port() const { return m_port; }

    void start() {
        const auto made = m_transport->makeListener(m_options.anyInterface ? Interface::any : Interface::loopback);
        if (!made)
            return tell(u"✗ call server: "_s + made.error().description);
        const auto port =
            m_transport->listen(m_options.port, [weak = weak_from_this()](std::shared_ptr<Stream> stream) {
                if (const auto self = weak.lock())
                    self->accept(std::move(stream));
            });
        if (!port)
            return tell(u"✗ call server: "_s + port.error().description + u" — is the Python harness still running?"_s);
        m_port = *port;
        tell(u"taking calls on port "_s + QString::number(*port));
    }

    void stop() {
        m_port = 0;
        m_transport->stopListening();
    }

private:
    void tell(const QString &state) const {
        if (m_options.onState)
            m_options.onState(state);
    }

    void accept(std::shared_ptr<Stream> stream) {
        const auto connection = std::make_shared<WSConnection>(std::move(stream));
        makeRoom();
        m_pending.push_back(connection);
        connection->start(m_options.token, ROUTES, [weak = weak_from_this()](const auto &ready) {
            if (const auto self = weak.lock(); self && self->m_options.onConnection)
                self->m_options.onConnection(ready);
        });
    }

    void makeRoom() {
        if (m_pending.size() < m_manyPending)
            return;
        const auto most = mostPending();
        std::erase_if(m_pending, [](const std::weak_ptr<WSConnection> &pending) {
            const auto connection = pending.lock();
            return !connection || !connection->isPending();
        });
        for (; m_pending.size() >= most; m_pending.pop_front())
            if (const auto longest = m_pending.front().lock())
                longest->drop();
        m_manyPending = std::clamp(2 * m_pending.size(), FEW, std::max(FEW, most));
    }

    const std::shared_ptr<Transport> m_transport;
    const Options m_options;
    std::atomic<quint16> m_port = 0;
    std::deque<std::weak_ptr<WSConnection>> m_pending; // handshakes in the order of their beginning, some over
    std::size_t m_manyPending = FEW;                   // from so many on they are looked through
};

WSServer::WSServer(Options options) {
    auto transport = Transport::make("ombru.ws");
    auto &queue = transport->queue();
    m_line = queue.make<Line>(std::move(transport), std::move(options));
}

WSServer::~WSServer() {
    stop();
}

void WSServer::start() {
    m_line->queue().post([line = m_line] { line->start(); });
}

void WSServer::stop() {
    m_line->queue().post([line = m_line] { line->stop(); });
}

quint16 WSServer::port() const {
    return m_line->port();
}

} // namespace ombru
