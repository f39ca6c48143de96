#include "platform/linux/consent/prompt/InputGuard.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWidget>
#include <QWindow>

namespace ombru {

namespace {

constexpr auto PAUSE = std::chrono::seconds(1);

// Whether the event is over before the window sees it.
bool keepFrom(QEvent &event, bool meant) {
    event.setAccepted(!meant || event.isAccepted());
    return !meant;
}

} // namespace

InputGuard::InputGuard(QWidget &window) : m_window(window) {
    qApp->installEventFilter(this);
}

void InputGuard::protect(QAbstractButton &button) {
    m_button = &button;
    button.setEnabled(false);
}

bool InputGuard::takesAnswers() const {
    return m_painted && m_since && Clock::now() - *m_since >= PAUSE;
}

void InputGuard::startPause() {
    m_since = Clock::now();
    if (!m_button)
        return;
    m_button->setEnabled(false);
    m_pause = Loop::main().after(PAUSE, [this] { m_button->setEnabled(true); });
}

// At another place the button came to the pointer, and not the pointer to it.
void InputGuard::notePointer(QPoint place) {
    if (!m_button)
        return;
    const QRect now(m_button->mapToGlobal(QPoint()), m_button->size());
    m_cameFromOutside = (m_cameFromOutside && now == m_place) || !now.contains(place);
    m_place = now;
}

// Only X tells where it is outside of our windows.
void InputGuard::noteWherePointerIs() {
    if (QGuiApplication::platformName() == QStringLiteral("xcb"))
        notePointer(QCursor::pos());
}

bool InputGuard::isEntered(const QObject *watched) const {
    return watched != m_button || m_cameFromOutside;
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

bool InputGuard::takesClick(const QObject *watched, const QEvent &event) {
    if (event.isSinglePointEvent())
        notePointer(static_cast<const QSinglePointEvent &>(event).globalPosition().toPoint());
    return takesAnswers() && isEntered(watched);
}

bool InputGuard::eventFilter(QObject *watched, QEvent *event) {
    if (!isOurs(watched))
        return false;
    switch (event->type()) {
    case QEvent::Paint:
        m_painted = true;
        return false;
    case QEvent::Expose: // the window is shown or uncovered
        m_cameFromOutside = false;
        noteWherePointerIs();
        startPause();
        return false;
    case QEvent::WindowActivate:
        startPause();
        return false;
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Leave:
        noteWherePointerIs();
        return false;
    case QEvent::MouseMove:
        notePointer(static_cast<QMouseEvent *>(event)->globalPosition().toPoint());
        return false;
    case QEvent::ShortcutOverride: // accepted, it becomes no shortcut
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
        const bool repeated = isRepeated(*static_cast<QKeyEvent *>(event));
        return keepFrom(*event, !repeated && takesAnswers());
    }
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
        return keepFrom(*event, takesClick(watched, *event));
    case QEvent::Close:
        event->setAccepted(takesAnswers());
        return !takesAnswers();
    default:
        return false;
    }
}

} // namespace ombru
