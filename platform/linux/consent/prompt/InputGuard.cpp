#include "platform/linux/consent/prompt/InputGuard.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>
#include <QWindow>

namespace ombru {

namespace {

constexpr auto DEAF = std::chrono::milliseconds(500);

bool isOver(const std::optional<Clock::Time> &since) {
    return since && Clock::now() - *since >= DEAF;
}

// Whether the event is over before the window sees it.
bool keepFrom(QEvent &event, bool meant) {
    event.setAccepted(!meant || event.isAccepted());
    return !meant;
}

} // namespace

InputGuard::InputGuard(QWidget &window) : m_window(window) {
    qApp->installEventFilter(this);
}

bool InputGuard::takesKeys() const {
    return isOver(m_painted) && isOver(m_activated);
}

bool InputGuard::takesClicks() const {
    return isOver(m_painted);
}

bool InputGuard::isOurs(const QObject *object) const {
    if (object->isWindowType())
        return object == m_window.windowHandle();
    return object->isWidgetType() && static_cast<const QWidget *>(object)->window() == &m_window;
}

// The display repeats a held key as a release and a press at the same moment.
bool InputGuard::isRepeated(const QKeyEvent &event) {
    const auto key = event.nativeScanCode();
    if (event.type() == QEvent::KeyRelease)
        m_released[key] = event.timestamp();
    const auto released = m_released.constFind(key);
    return event.isAutoRepeat() || (event.type() != QEvent::KeyRelease && released != m_released.constEnd() &&
                                    event.timestamp() != 0 && *released == event.timestamp());
}

bool InputGuard::eventFilter(QObject *watched, QEvent *event) {
    if (!isOurs(watched))
        return false;
    switch (event->type()) {
    case QEvent::Paint:
        if (!m_painted)
            m_painted = Clock::now();
        return false;
    case QEvent::WindowActivate:
        m_activated = Clock::now();
        return false;
    case QEvent::ShortcutOverride: // accepted, it becomes no shortcut
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
        const bool repeated = isRepeated(*static_cast<QKeyEvent *>(event));
        return keepFrom(*event, !repeated && takesKeys());
    }
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
        return keepFrom(*event, takesClicks());
    case QEvent::Close:
        event->setAccepted(takesClicks());
        return !takesClicks();
    default:
        return false;
    }
}

} // namespace ombru
