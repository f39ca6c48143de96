// The window that says where to find an application without windows. Main thread, with a graphical application.
#pragma once
#include "look/Look.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QMessageBox;

namespace ombru {

struct RunningHintText {
    QString title;
    QString text;
};

// `hasPlace`: the desktop has a place for the icon.
RunningHintText runningHintText(bool hasPlace);

class RunningHint {
public:
    explicit RunningHint(std::function<void()> onClosed); // by its button, or by close()
    ~RunningHint();

    // In front of everything; once, however often it is asked for while it is open. Does nothing without an
    // application.
    void show(bool hasPlace);
    void setHasPlace(bool hasPlace); // also while it is open
    void close();
    bool isOpen() const { return m_window != nullptr; }

private:
    void dress(const Colours &colours);

    const std::function<void()> m_onClosed;
    std::unique_ptr<QMessageBox> m_window;
    std::optional<Look> m_look; // the window's
};

} // namespace ombru
