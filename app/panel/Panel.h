// The panel and the controller: shows what the controller knows, and does what its buttons say. Main thread, with a
// graphical application. drain() before it is destroyed.
#pragma once
#include "app/panel/MenuPanel.h"
#include "app/panel/PermissionWatch.h"
#include "base/OnceATurn.h"
#include "controller/AppState.h"

#include <memory>

namespace ombru {

class Panel {
public:
    // `quit` ends the application.
    Panel(AppState &state, std::function<void()> quit);

    void open(const QRect &icon); // beside it; in a corner where its place is not known
    void close();
    bool isOpen() const { return m_view && m_view->isVisible(); }
    bool wasJustLeft() const { return m_view && m_view->wasJustLeft(); }
    void act(const PanelAction &action);                    // also for the icon's menu
    bool hasFailed() const { return !m_failure.isEmpty(); } // what was done last, which it says when it is open
    Task<> drain();

private:
    void refresh();
    void opened(bool open);
    MenuPanel &view();
    void fail(const Result<> &result);
    Task<> signInToClaude();

    AppState &m_state;
    std::function<void()> m_quit;
    std::unique_ptr<MenuPanel> m_view; // from when it is opened first: until then its fonts and styles take no memory
    PermissionWatch m_watch;
    QString m_failure; // of the last button
    OnceATurn m_soon{[this] { refresh(); }};
    TaskScope m_tasks;
    Subscription m_heard;
};

} // namespace ombru
