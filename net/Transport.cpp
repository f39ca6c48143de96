#include "net/Transport.h"

#include <QSocketNotifier>

namespace ombru {

using namespace std::chrono_literals;

namespace {

constexpr std::uint64_t LISTENER = 0; // its key; those of streams follow
constexpr int ACCEPTED_A_TURN = 64;   // connections, before others have their turn
constexpr int LOOKS_A_TURN = 8;       // before the loop's jobs have theirs
constexpr Clock::Duration ACCEPT_AGAIN = 1s;
constexpr std::size_t MOST_ENDING = 256; // connections that wait for their peers to end

} // namespace

std::shared_ptr<Transport> Transport::make(QByteArray queueName) {
    return make(std::make_shared<SerialQueue>(std::move(queueName)), BUFFER);
}

std::shared_ptr<Transport> Transport::make(std::shared_ptr<SerialQueue> queue, std::size_t buffer) {
    auto &its = *queue;
    return its.make<Transport>(std::move(queue), buffer);
}

Transport::Transport(std::shared_ptr<SerialQueue> queue, std::size_t buffer)
    : m_queue(std::move(queue)), m_bufferSize(buffer) {}

Transport::~Transport() {
    for (const auto &[key, stream] : std::exchange(m_streams, {}))
        stream->close();
}

bool Transport::open() {
    if (m_notifier)
        return true;
    m_readiness = std::make_shared<Readiness>();
    if (!m_readiness->isOpen())
        return false;
    m_buffer.resize(m_bufferSize);
    m_notifier = std::make_unique<QSocketNotifier>(m_readiness->descriptor(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { turn(); });
    return true;
}

// --- Listening

Result<> Transport::makeListener(Interface interface) {
    stopListening();
    if (!open())
        return std::unexpected(networkFailure(errno));
    auto socket = makeListeningSocket(interface);
    if (!socket)
        return std::unexpected(networkFailure(socket.error()));
    m_interface = interface;
    m_listening = std::move(*socket);
    return {};
}

Result<std::uint16_t> Transport::listen(std::uint16_t port, OnConnection onConnection) {
    const auto got = listenOn(m_listening, m_interface, port);
    if (!got)
        return std::unexpected(networkFailure(got.error()));
    if (!m_readiness->add(m_listening, LISTENER, {.read = true}))
        return std::unexpected(networkFailure(ENOMEM));
    m_onConnection = std::move(onConnection);
    return *got;
}

void Transport::stopListening() {
    m_acceptAgain.cancel();
    if (m_listening.isOpen())
        m_readiness->remove(m_listening);
    m_listening.close();
    m_onConnection = nullptr;
}

void Transport::acceptSome() {
    for (int number = 0; number < ACCEPTED_A_TURN && m_listening.isOpen(); ++number) {
        auto accepted = acceptOne(m_listening);
        if (accepted)
            m_onConnection(adopt(std::move(*accepted)));
        else if (isOutOfDescriptors(accepted.error()))
            return acceptLater();
        else if (accepted.error() == EAGAIN)
            return;
    }
}

// Whoever waits would be told of again and again.
void Transport::acceptLater() {
    m_readiness->change(m_listening, LISTENER, {});
    m_acceptAgain =
        m_queue->after(ACCEPT_AGAIN, [this] { m_readiness->change(m_listening, LISTENER, {.read = true}); });
}

// --- Connections

Result<std::shared_ptr<Stream>> Transport::takeOver(Accepted connection) {
    if (!open())
        return std::unexpected(networkFailure(errno));
    prepareConnection(connection.socket);
    return adopt(std::move(connection));
}

std::shared_ptr<Stream> Transport::adopt(Accepted accepted) {
    if (m_streams.empty())
        m_queue->hold(shared_from_this());
    const auto key = ++m_lastKey;
    auto stream = std::make_shared<Stream>(weak_from_this(), m_readiness, key, std::move(accepted));
    m_streams.emplace(key, stream);
    return stream;
}

void Transport::turn() {
    std::array<Readiness::Event, Readiness::MOST_EVENTS> events;
    for (int look = 0; look < LOOKS_A_TURN && handle(m_readiness->look(events)); ++look)
        continue;
}

// Whether there was anything.
bool Transport::handle(std::span<const Readiness::Event> events) {
    for (const auto &event : events) {
        if (event.key == LISTENER) {
            acceptSome();
        } else if (const auto found = m_streams.find(event.key); found != m_streams.end()) {
            const auto stream = found->second; // it may be forgotten meanwhile
            stream->ready(event, m_buffer);
        }
    }
    return !events.empty();
}

void Transport::endsSoon(std::uint64_t key) {
    m_ending.push_back(key);
    while (m_ending.size() > MOST_ENDING) {
        const auto first = m_streams.find(m_ending.front());
        m_ending.pop_front();
        if (first != m_streams.end()) {
            const auto stream = first->second;
            stream->close();
        }
    }
}

void Transport::forget(std::uint64_t key) {
    if (m_streams.erase(key) > 0 && m_streams.empty())
        m_queue->release(this);
}

} // namespace ombru
