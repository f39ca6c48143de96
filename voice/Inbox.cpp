#include "voice/Inbox.h"

#include "voice/WSConnection.h"

namespace ombru {

namespace {

constexpr qsizetype MOST_EARLY = 4 << 20; // characters

} // namespace

std::shared_ptr<Inbox> Inbox::of(const std::shared_ptr<WSConnection> &connection) {
    auto inbox = std::make_shared<Inbox>();
    auto &peer = *connection; // it is what calls
    connection->onText = [inbox, &peer](const QString &text) { inbox->take(text, peer); };
    connection->onClose = [inbox] { inbox->close(); };
    return inbox;
}

void Inbox::open(Listener listener) {
    const std::scoped_lock lock(m_mutex);
    m_listener = std::move(listener);
    m_open = true;
    for (const auto &text : std::exchange(m_early, {}))
        m_listener.onText(text);
    if (m_closed)
        m_listener.onClose();
}

void Inbox::take(const QString &text, WSConnection &connection) {
    std::unique_lock lock(m_mutex);
    if (m_open)
        return m_listener.onText(text);
    m_size += text.size();
    if (m_size <= MOST_EARLY)
        return m_early.append(text);
    lock.unlock(); // it tells its end
    connection.close();
}

void Inbox::close() {
    const std::scoped_lock lock(m_mutex);
    m_closed = true;
    if (m_open)
        m_listener.onClose();
}

} // namespace ombru
