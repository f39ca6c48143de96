// The end of the owner's session, or whoever else asks this program to quit by the desktop's own way: it ends in order
// then, instead of at once. Main thread, with a graphical application.
#pragma once
#include <QObject>

#include <functional>

namespace ombru {

class SessionEnd : public QObject {
public:
    explicit SessionEnd(std::function<void()> onQuit);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    const std::function<void()> m_onQuit;
};

} // namespace ombru
