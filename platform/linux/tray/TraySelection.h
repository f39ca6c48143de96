// Whether some program embeds icons on the X server, as old panels do (XEmbed): it owns a selection of that name. It
// may come late, go away and come back. Main thread.
#pragma once
#include "platform/linux/x11/DisplayEvents.h"

namespace ombru {

class TraySelection {
public:
    // `onChange` is told from the event loop, when hasHost() may be another.
    explicit TraySelection(std::function<void()> onChange);

    bool hasHost() const { return m_host != XCB_NONE && m_events->isAlive(); }

private:
    xcb_atom_t atom(const QByteArray &name) const;
    void take(const xcb_generic_event_t &event);
    void findHost();

    const std::function<void()> m_onChange;
    std::unique_ptr<DisplayEvents> m_events; // null without a display
    xcb_atom_t m_selection = XCB_NONE;
    xcb_atom_t m_announcement = XCB_NONE;
    xcb_window_t m_host = XCB_NONE;
};

} // namespace ombru
