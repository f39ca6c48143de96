#include "app/control/ControlLines.h"

#include <QJsonDocument>

namespace ombru {

ControlLines::ControlLines(std::unique_ptr<QLocalSocket> socket, qint64 longest)
    : m_socket(socket.release()), m_longest(longest) {
    m_socket->setReadBufferSize(longest);
}

ControlLines::~ControlLines() {
    m_receiver.reset();
    m_socket->disconnect();
    m_socket->flush();
    m_socket->abort();
}

void ControlLines::receive(Receiver receiver) {
    auto *socket = m_socket.get();
    socket->disconnect();
    m_receiver = std::make_shared<Receiver>(std::move(receiver));
    QObject::connect(socket, &QLocalSocket::readyRead, socket, [this] { read(); });
    QObject::connect(socket, &QLocalSocket::disconnected, socket, [this] {
        const std::weak_ptr alive = m_receiver;
        read();
        if (alive.expired())
            return;
        m_socket->disconnect();
        const auto receiver = std::exchange(m_receiver, nullptr);
        if (receiver->onTrouble)
            receiver->onTrouble(Trouble::closed);
    });
    QObject::connect(socket, &QLocalSocket::bytesWritten, socket, [this] {
        if (const auto receiver = m_receiver; receiver && receiver->onWritten)
            receiver->onWritten();
    });
    if (socket->bytesAvailable() > 0)
        read();
}

void ControlLines::read() {
    const std::weak_ptr alive = m_receiver;
    while (!alive.expired() && !m_deaf && m_socket->canReadLine()) {
        const auto document = QJsonDocument::fromJson(m_socket->readLine());
        const auto receiver = alive.lock();
        if (document.isObject())
            receiver->onLine(document.object());
        else
            turnDeaf(Trouble::garbage);
    }
    if (!alive.expired() && !m_deaf && m_longest > 0 && m_socket->bytesAvailable() >= m_longest)
        turnDeaf(Trouble::tooLong);
    if (!alive.expired() && m_deaf)
        m_socket->readAll();
}

void ControlLines::turnDeaf(Trouble why) {
    m_deaf = true;
    if (const auto receiver = m_receiver; receiver->onTrouble)
        receiver->onTrouble(why);
}

void ControlLines::send(const QJsonObject &object) {
    if (isOpen())
        m_socket->write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

void ControlLines::close() {
    m_socket->disconnectFromServer();
}

bool ControlLines::isOpen() const {
    return m_socket->state() == QLocalSocket::ConnectedState;
}

qint64 ControlLines::unread() const {
    return m_socket->bytesToWrite();
}

} // namespace ombru
