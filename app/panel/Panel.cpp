#include "app/panel/Panel.h"

#include "agent/Claude.h"
#include "app/panel/PanelSource.h"
#include "permissions/Permissions.h"

namespace ombru {

using namespace Qt::StringLiterals;
using What = PanelAction::What;

Panel::Panel(AppState &state, std::function<void()> quit) : m_state(state), m_quit(std::move(quit)), m_watch(state) {
    m_heard = m_state.onWillChange([this] { m_soon.ask(); }); // before the change takes effect
}

MenuPanel &Panel::view() {
    if (!m_view)
        m_view = std::make_unique<MenuPanel>(
            MenuPanel::Receiver{.onAction = [this](const PanelAction &action) { act(action); },
                                .onOpen = [this](bool open) { opened(open); }});
    return *m_view;
}

void Panel::refresh() {
    if (!m_view)
        return;
    m_view->keepOpen(m_state.busy);
    m_view->show(panelContent(panelState(m_state, m_failure)));
}

void Panel::open(const QRect &icon) {
    auto &panel = view();
    refresh();
    panel.open(icon);
}

void Panel::close() {
    if (m_view)
        m_view->hide();
}

void Panel::opened(bool open) {
    if (open)
        return m_watch.begin();
    m_watch.end();
    m_failure.clear();
}

Task<> Panel::drain() {
    m_heard.end();
    close();
    const auto tasks = m_tasks.drain();
    co_await m_watch.drain();
    co_await tasks;
}

void Panel::fail(const Result<> &result) {
    m_failure = result ? QString() : result.error().description;
    if (!result)
        m_state.emit(u"✗ "_s + m_failure, EventKind::warn);
    m_soon.ask();
}

Task<> Panel::signInToClaude() {
    fail(co_await Claude::signInInTerminal(AppState::workDir(), m_tasks.token()));
}

void Panel::act(const PanelAction &action) {
    fail({});
    switch (action.what) {
    case What::signIn:
        return m_state.signIn();
    case What::openBrowser:
        return m_state.openSignInPage();
    case What::cancelSignIn:
        return m_state.cancelSignIn();
    case What::stop:
        m_state.cancelTask();
        return;
    case What::hangUp:
        return m_state.hangUp();
    case What::installClaude:
        return fail(Claude::installInTerminal(AppState::workDir()));
    case What::signInClaude:
        return m_tasks.start(signInToClaude());
    case What::allowEverything:
        return m_state.allowEverything();
    case What::restart:
        return fail(Permissions::relaunch(m_quit));
    case What::openAutomationSettings:
        return AppAutomation::openSettings();
    case What::allowApplication:
        return m_state.allowBlocked(action.target);
    case What::openLogs:
        return fail(m_state.openLogs());
    case What::signOut:
        return m_state.signOut();
    case What::quit:
        return m_quit();
    }
}

} // namespace ombru
