#include "platform/linux/tray/TraySelection.h"

#include <QByteArray>

namespace ombru {
namespace {

constexpr std::uint8_t EVENT_KIND = 0x7f; // without the mark of an event that a program sent

int screenNumber(const Display &display) {
    int number = 0;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(display.connection()));
    for (; screens.rem > 0 && screens.data->root != display.screen().root; xcb_screen_next(&screens))
        ++number;
    return number;
}

// Whether the server will tell of that window: of its end, and of what is announced there.
bool listen(const Display &display, xcb_window_t window) {
    constexpr std::uint32_t structure = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    auto *connection = display.connection();
    const auto asking = xcb_change_window_attributes_checked(connection, window, XCB_CW_EVENT_MASK, &structure);
    return !Reply<xcb_generic_error_t>(xcb_request_check(connection, asking));
}

} // namespace

TraySelection::TraySelection(std::function<void()> onChange) : m_onChange(std::move(onChange)) {
    auto display = Display::open();
    if (!display)
        return;
    m_events =
        std::make_unique<DisplayEvents>(*std::move(display), [this](const xcb_generic_event_t &event) { take(event); });
    m_selection = atom("_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber(m_events->display())));
    m_announcement = atom("MANAGER");
    listen(m_events->display(), m_events->display().screen().root);
    findHost();
    m_events->catchUp();
}

xcb_atom_t TraySelection::atom(const QByteArray &name) const {
    auto *connection = m_events->connection();
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, std::uint16_t(name.size()), name.constData()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_NONE);
}

void TraySelection::take(const xcb_generic_event_t &event) {
    const int kind = event.response_type & EVENT_KIND;
    const auto &message = reinterpret_cast<const xcb_client_message_event_t &>(event);
    const bool isAnnounced = kind == XCB_CLIENT_MESSAGE && message.type == m_announcement && message.format == 32 &&
                             message.data.data32[1] == m_selection;
    const bool hasGone =
        kind == XCB_DESTROY_NOTIFY && reinterpret_cast<const xcb_destroy_notify_event_t &>(event).window == m_host;
    if (!isAnnounced && !hasGone)
        return;
    findHost();
    m_onChange();
}

// One that goes away between the two requests is none.
void TraySelection::findHost() {
    auto *connection = m_events->connection();
    const Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, m_selection), nullptr));
    const auto owner = reply ? reply->owner : xcb_window_t(XCB_NONE);
    m_host = owner != XCB_NONE && listen(m_events->display(), owner) ? owner : xcb_window_t(XCB_NONE);
}

} // namespace ombru
