#include "app/resident/ControlDoor.h"

#include "platform/SystemLog.h"

#include <QFile>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t MOST_CLIENTS = 32;
constexpr std::size_t MOST_REFUSED = 8; // at once, besides; more are not even told

} // namespace

ControlDoor::ControlDoor(AppState &state, Shell *shell) : m_state(state), m_shell(shell), m_history(state) {
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] { letIn(); });
}

Result<> ControlDoor::open(const QString &socket) {
    QLocalServer::removeServer(socket);
    if (m_server.listen(socket) && QFile::setPermissions(socket, QFile::ReadOwner | QFile::WriteOwner))
        return {};
    return std::unexpected(Failure{
        u"door"_s, 1, u"Commands cannot reach the application at %1: %2."_s.arg(socket, m_server.errorString())});
}

void ControlDoor::letIn() {
    while (auto *socket = m_server.nextPendingConnection()) {
        socket->setParent(nullptr);
        admit(std::unique_ptr<QLocalSocket>(socket));
    }
}

void ControlDoor::admit(std::unique_ptr<QLocalSocket> socket) {
    dismissThoseWhoAreDone();
    if (m_conversations.size() >= MOST_CLIENTS + MOST_REFUSED)
        return;
    const auto peer = peerOf(static_cast<int>(socket->socketDescriptor())).value_or(Peer{});
    const auto conversation = std::make_shared<Conversation>(Conversation::House{m_state, m_history, m_tasks, m_shell},
                                                             std::move(socket), peer);
    conversation->start();
    if (!peer.isOwner) {
        logger::error(u"door: another user's process %1 was turned away"_s.arg(peer.process));
        conversation->refuse(u"This application is another user's."_s, 1);
    } else if (m_conversations.size() >= MOST_CLIENTS) {
        conversation->refuse(u"Too many commands ask the application at once."_s, 1);
    }
    m_conversations.push_back(conversation);
}

void ControlDoor::dismissThoseWhoAreDone() {
    std::erase_if(m_conversations, [](const auto &conversation) { return conversation->isOver(); });
}

Task<> ControlDoor::end() {
    m_server.close();
    const auto all = m_conversations;
    for (const auto &conversation : all)
        conversation->interrupt();
    co_await m_tasks.drain();
    m_conversations.clear();
}

} // namespace ombru
