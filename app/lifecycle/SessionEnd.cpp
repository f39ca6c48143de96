#include "app/lifecycle/SessionEnd.h"

#include <QEvent>
#include <QGuiApplication>
#include <QSessionManager>

namespace ombru {

// The login item starts it at the next login, and a session that is kept is not to start it once more.
SessionEnd::SessionEnd(std::function<void()> onQuit) : m_onQuit(std::move(onQuit)) {
    qApp->installEventFilter(this);
    connect(
        qApp, &QGuiApplication::commitDataRequest, this,
        [](QSessionManager &session) { session.setRestartHint(QSessionManager::RestartNever); }, Qt::DirectConnection);
}

bool SessionEnd::eventFilter(QObject *watched, QEvent *event) {
    if (event->type() != QEvent::Quit || watched != qApp)
        return QObject::eventFilter(watched, event);
    m_onQuit();
    return true;
}

} // namespace ombru
