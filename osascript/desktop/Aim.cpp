#include "osascript/desktop/Aim.h"

#include "platform/linux/x11/Receivers.h"

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int TRIES = 50; // while the focus goes from window to window

} // namespace

Result<> Aim::keys(const std::function<void()> &send) {
    return at(&keyReceiver, send);
}

Result<> Aim::button(const std::function<void()> &send) {
    return at(&pointerReceiver, send);
}

Result<> Aim::place(QPoint place) {
    return mayReach(windowAt(*m_x11, place));
}

// Who gets it is looked at while others are served; only when it still is the one, and no window has come since that
// could be a menu, is anything sent.
Result<> Aim::at(xcb_window_t (*receiver)(X11 &x11), const std::function<void()> &send) {
    for (int tries = 0; tries < TRIES; ++tries) {
        if (const auto may = menusMayBeReached(); !may)
            return may;
        // Besides telling the receiver, an answer that comes before the server is taken lets it serve others in
        // between: it would go from one grab to the next at once.
        const auto before = receiver(*m_x11);
        if (const auto may = mayReach(before); !may)
            return may;
        const ServerGrab alone(*m_x11);
        if (receiver(*m_x11) == before && !m_x11->hasNewWindows()) {
            send();
            return m_x11->flush();
        }
        m_menusSeen = false;
        m_owners.clear(); // a new window may have the number of one that is gone
    }
    return std::unexpected(desktopFailure(CANNOT_DO_IT, u"The keyboard goes from window to window."_s));
}

Result<> Aim::mayReach(xcb_window_t window) {
    auto known = m_owners.find(window);
    if (known == m_owners.end())
        known = m_owners.emplace(window, ownersOf(*m_x11, window)).first;
    for (const auto &owner : known->second) {
        if (const auto may = (*m_mayReach)(owner); !may)
            return may;
    }
    return {};
}

// Whichever of them has the keyboard or the pointer: the server does not tell.
Result<> Aim::menusMayBeReached() {
    if (m_menusSeen)
        return {};
    for (const xcb_window_t menu : openMenus(*m_x11)) {
        if (const auto may = mayReach(menu); !may)
            return may;
    }
    m_menusSeen = true;
    return {};
}

} // namespace ombru
