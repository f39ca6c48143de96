// Keeps from a window what was not meant for it: keys and clicks that were on their way before its owner could read it,
// and a key that is held down. Main thread.
#pragma once
#include "base/Clock.h"

#include <QHash>
#include <QObject>

#include <optional>

class QKeyEvent;
class QWidget;

namespace ombru {

class InputGuard : public QObject {
public:
    // Watches the window and everything in it, from before it is shown.
    explicit InputGuard(QWidget &window);

    // Whether the window has been on the screen, and had the focus, long enough for an answer by key.
    bool takesKeys() const;
    bool takesClicks() const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isOurs(const QObject *object) const;
    bool isRepeated(const QKeyEvent &event);

    QWidget &m_window;
    std::optional<Clock::Time> m_painted; // for the first time
    std::optional<Clock::Time> m_activated;
    QHash<quint32, quint64> m_released; // by key: the moment, in the display's milliseconds
};

} // namespace ombru
