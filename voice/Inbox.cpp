#include "voice/Inbox.h"

#include "voice/WSConnection.h"

namespace ombru {

namespace {

constexpr qsizetype MOST_WAITING = 4 << 20; // characters; a single text may have more

} // namespace

std::shared_ptr<Inbox> Inbox::of(const std::shared_ptr<WSConnection> &connection) {
    auto inbox = std::make_shared<Inbox>();
    auto &peer = *connection; // it is what calls
    connection->onText = [inbox, &peer](const QString &text) {
        if (!inbox->take(text))
            peer.close();
    };
    connection->onClose = [inbox] { inbox->close(); };
    return inbox;
}

void Inbox::open(Listener listener) {
    const std::scoped_lock lock(m_mutex);
    m_listener = std::move(listener);
    m_open = true;
    for (auto &early : std::exchange(m_early, {}))
        m_listener.onText(early.text, std::move(early.waiting));
    if (m_closed)
        m_listener.onClose();
}

bool Inbox::take(const QString &text) {
    const std::scoped_lock lock(m_mutex);
    if (*m_waiting > 0 && *m_waiting + text.size() > MOST_WAITING)
        return false;
    auto waiting = count(text.size());
    if (m_open)
        m_listener.onText(text, std::move(waiting));
    else
        m_early.push_back({text, std::move(waiting)});
    return true;
}

Inbox::Waiting Inbox::count(qsizetype characters) {
    *m_waiting += characters;
    return {nullptr, [all = m_waiting, characters](void *) { *all -= characters; }};
}

void Inbox::close() {
    const std::scoped_lock lock(m_mutex);
    m_closed = true;
    if (m_open)
        m_listener.onClose();
}

} // namespace ombru
