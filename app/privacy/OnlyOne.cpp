#include "app/privacy/OnlyOne.h"

#include "platform/SystemLog.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int PATIENCE = 3000;     // milliseconds
constexpr qsizetype LONGEST = 200; // bytes of a word

QString directory() {
    const auto place = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + u"/ombru"_s;
    if (!QDir(place).exists() && QDir().mkpath(place))
        QFile::setPermissions(place, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return place;
}

} // namespace

OnlyOne::OnlyOne(const QString &name, std::function<void(const QString &word)> onWord)
    : m_socket(directory() + u'/' + name), m_onWord(std::move(onWord)), m_lock(m_socket + u".lock"_s) {
    m_lock.setStaleLockTime(0); // only its holder's end frees it
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] { receive(); });
}

bool OnlyOne::isFirst(const QString &word) {
    if (!m_lock.tryLock(0) && m_lock.error() == QLockFile::LockFailedError)
        return !handOver(word);
    QLocalServer::removeServer(m_socket); // of one that was killed
    // Without it the next start opens a window of its own.
    if (!m_server.listen(m_socket))
        logger::error(u"privacy settings: %1: %2"_s.arg(m_socket, m_server.errorString()));
    return true;
}

bool OnlyOne::handOver(const QString &word) const {
    const QByteArray line = word.toUtf8().left(LONGEST - 1) + '\n';
    // It may hold the lock and not listen yet.
    for (QDeadlineTimer end(PATIENCE); !end.hasExpired(); QThread::msleep(50)) {
        QLocalSocket socket;
        socket.connectToServer(m_socket);
        if (socket.waitForConnected(PATIENCE) && socket.write(line) == line.size())
            return socket.waitForReadyRead(PATIENCE);
    }
    return false;
}

void OnlyOne::receive() {
    auto *socket = m_server.nextPendingConnection();
    QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
        if (socket->bytesAvailable() > LONGEST) {
            socket->abort();
        } else if (socket->canReadLine()) {
            m_onWord(QString::fromUtf8(socket->readLine()).trimmed());
            socket->write("\n");
            socket->disconnectFromServer();
        }
    });
}

} // namespace ombru
