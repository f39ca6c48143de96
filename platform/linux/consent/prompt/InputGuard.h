// Keeps from a window what was not meant for it: keys and clicks that were on their way before its owner could read it,
// a key that is held down, and a click of a pointer that one of its buttons came to lie under. Main thread.
#pragma once
#include "base/Loop.h"

#include <QHash>
#include <QObject>
#include <QPoint>
#include <QRect>

#include <optional>

class QAbstractButton;
class QKeyEvent;
class QWidget;

namespace ombru {

class InputGuard : public QObject {
public:
    // Watches the window and everything in it, from before it is shown.
    explicit InputGuard(QWidget &window);

    // The button whose answer matters most: disabled as long as no answer counts, and a click counts only after the
    // pointer was moved into it. Once, before the window is shown.
    void protect(QAbstractButton &button);

    // Whether the window has been seen and had the focus long enough: since it was shown, uncovered or activated.
    bool takesAnswers() const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isOurs(const QObject *object) const;
    bool isRepeated(const QKeyEvent &event);
    void startPause();
    void notePointer(QPoint place); // on the screen
    void noteWherePointerIs();
    bool isEntered(const QObject *watched) const;
    bool takesClick(const QObject *watched, const QEvent &event);

    QWidget &m_window;
    QAbstractButton *m_button = nullptr; // a child of the window
    bool m_painted = false;
    std::optional<Clock::Time> m_since; // the pause began
    Timer m_pause;
    QRect m_place;                      // of the button on the screen, when the pointer was noted last
    bool m_cameFromOutside = false;     // the pointer was seen beside the button at that place
    QHash<quint32, quint64> m_released; // by key: the moment, in the display's milliseconds
};

} // namespace ombru
