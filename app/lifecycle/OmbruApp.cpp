#include "app/lifecycle/OmbruApp.h"

#include "app/panel/PanelSource.h"
#include "app/panel/Symbol.h"

namespace ombru {

namespace {

constexpr Clock::Duration PATIENCE = std::chrono::seconds(5); // for a place for the icon

} // namespace

OmbruApp::OmbruApp(const QString &socket, Start start)
    : m_resident(socket, this), m_state(m_resident.state()),
      m_delegate(m_state.settings, [this] { m_hint.show(hasPlace()); }), m_panel(m_state, [this] { interrupt(); }),
      m_icon({.onClick = [this](const QRect &icon) { togglePanel(icon); },
              .onEntry = [this](int id) { choose(IconMenuEntry::What(id)); },
              .onPlace = [this](bool shown) { placeChanged(shown); }}),
      m_start(start) {
    m_state.hasPanel = true;
    m_heard = m_state.onWillChange([this] { m_soon.ask(); }); // before the change takes effect
    show();
}

// A desktop that has only just begun may have one soon.
bool OmbruApp::hasPlace() const {
    return m_icon.isShown() || m_patience.pending();
}

Task<int> OmbruApp::run() {
    m_patience = Loop::main().after(PATIENCE, [this] { patienceEnds(); });
    m_delegate.applicationDidFinishLaunching();
    m_opensAfterHint = m_start == Start::withPanel && m_hint.isOpen();
    if (m_start == Start::withPanel && !m_opensAfterHint)
        openPanel();
    const int status = co_await m_resident.run();
    m_heard.end();
    co_await m_panel.drain();
    co_await m_delegate.drain();
    co_return status;
}

// Whoever starts it where no icon can be sees the panel instead.
void OmbruApp::patienceEnds() {
    m_hint.setHasPlace(hasPlace());
    if (!hasPlace() && m_start != Start::atLogin && !m_hint.isOpen())
        openPanel();
}

void OmbruApp::placeChanged(bool shown) {
    if (!shown)
        m_place = {};
    m_hint.setHasPlace(hasPlace());
}

void OmbruApp::hintClosed() {
    if (std::exchange(m_opensAfterHint, false))
        openPanel();
}

// Nothing is opened any more: what is open would be worked on while it goes away.
void OmbruApp::interrupt() {
    m_ending = true;
    m_hint.close();
    m_panel.close();
    m_resident.interrupt();
}

// The hint has told what it is for, and would keep the panel's buttons from working.
void OmbruApp::open(const QRect &icon) {
    m_opensAfterHint = false;
    m_hint.close();
    m_panel.open(icon);
}

bool OmbruApp::openPanel() {
    if (!m_ending)
        open(m_place);
    return !m_ending;
}

// Where there is no icon to point to, the panel itself is shown.
bool OmbruApp::startedAgain() {
    if (!hasPlace())
        return openPanel();
    if (!m_ending)
        m_delegate.applicationShouldHandleReopen(m_panel.isOpen());
    return !m_ending;
}

void OmbruApp::togglePanel(const QRect &icon) {
    m_place = icon;
    if (m_panel.isOpen())
        m_panel.close();
    else if (!m_panel.wasJustLeft() && !m_ending)
        open(icon);
}

void OmbruApp::choose(IconMenuEntry::What what) {
    switch (what) {
    case IconMenuEntry::What::stop:
        return m_panel.act({PanelAction::What::stop});
    case IconMenuEntry::What::hangUp:
        return m_panel.act({PanelAction::What::hangUp});
    case IconMenuEntry::What::openPanel:
        openPanel();
        return;
    case IconMenuEntry::What::openLogs:
        m_panel.act({PanelAction::What::openLogs});
        if (m_panel.hasFailed())
            openPanel(); // which says why
        return;
    case IconMenuEntry::What::quit:
        return interrupt();
    }
}

void OmbruApp::show() {
    m_atWork.follow();
    const auto state = panelState(m_state);
    if (const Look look{m_state.icon(), m_atWork.isMarked(), iconTip(state)}; look != m_look) {
        m_look = look;
        m_icon.show(symbolForBar(look.symbol, look.isMarked), look.tip);
    }
    if (auto menu = iconMenu(state); menu != m_menu) {
        m_menu = std::move(menu);
        std::vector<MenuBarIcon::Entry> entries;
        for (const auto &entry : m_menu)
            entries.push_back({.id = int(entry.what), .text = entry.text, .isEnabled = entry.isEnabled});
        m_icon.setMenu(entries);
    }
}

} // namespace ombru
