#include "platform/linux/x11/X11.h"

#include <cstring>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr std::uint32_t LONGEST_PROPERTY = 1 << 20; // in units of four bytes

Reply<xcb_get_property_reply_t> get(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t property) {
    return Reply<xcb_get_property_reply_t>(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, LONGEST_PROPERTY),
        nullptr));
}

} // namespace

Failure desktopFailure(int code, const QString &description) {
    return {u"desktop"_s, code, description};
}

Result<X11> X11::open(const std::atomic<bool> &stop) {
    auto display = Display::open();
    if (!display)
        return std::unexpected(desktopFailure(CANNOT_DO_IT, display.error().description));
    X11 x11(std::move(*display), stop);
    if (const auto alive = x11.flush(); !alive)
        return std::unexpected(alive.error());
    return x11;
}

X11::~X11() {
    if (connection() && xcb_connection_has_error(connection()) == 0)
        inputFocus();
}

xcb_atom_t X11::atom(const char *name) {
    const auto known = m_atoms.find(name);
    if (known != m_atoms.end())
        return known->second;
    const auto reply = Reply<xcb_intern_atom_reply_t>(xcb_intern_atom_reply(
        connection(), xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
    const xcb_atom_t atom = reply ? reply->atom : XCB_ATOM_NONE;
    m_atoms.emplace(name, atom);
    return atom;
}

std::vector<std::uint32_t> X11::numbers(xcb_window_t window, const char *property) {
    const auto reply = get(connection(), window, atom(property));
    if (!reply || reply->format != 32)
        return {};
    const auto *first = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

std::uint32_t X11::number(xcb_window_t window, const char *property) {
    const auto all = numbers(window, property);
    return all.empty() ? 0 : all.front();
}

QString X11::text(xcb_window_t window, const char *property) {
    const auto reply = get(connection(), window, atom(property));
    if (!reply || reply->format != 8)
        return {};
    const QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(reply.get())),
                               xcb_get_property_value_length(reply.get()));
    return reply->type == XCB_ATOM_STRING ? QString::fromLatin1(bytes) : QString::fromUtf8(bytes);
}

void X11::setNumbers(xcb_window_t window, const char *property, const std::vector<std::uint32_t> &numbers) {
    if (numbers.empty())
        xcb_delete_property(connection(), window, atom(property));
    else
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window, atom(property), XCB_ATOM_CARDINAL, 32,
                            static_cast<std::uint32_t>(numbers.size()), numbers.data());
}

xcb_window_t X11::inputFocus() const {
    const auto reply = Reply<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    return reply ? reply->focus : XCB_NONE;
}

xcb_window_t X11::managedWindow(xcb_window_t window) {
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && numbers(window, "WM_STATE").empty()) {
        const auto tree = Reply<xcb_query_tree_reply_t>(
            xcb_query_tree_reply(connection(), xcb_query_tree(connection(), window), nullptr));
        window = tree ? tree->parent : XCB_NONE;
    }
    return window > XCB_INPUT_FOCUS_POINTER_ROOT ? window : XCB_NONE;
}

void X11::tellManager(xcb_window_t window, const char *type, std::array<std::uint32_t, 5> data) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom(type);
    std::ranges::copy(data, message.data.data32);
    xcb_send_event(connection(), 0, root(), XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&message));
}

Result<> X11::flush() const {
    if (*m_stop)
        return std::unexpected(desktopFailure(CANCELLED, u"The script was stopped."_s));
    xcb_flush(connection());
    if (xcb_connection_has_error(connection()))
        return std::unexpected(desktopFailure(CANNOT_DO_IT, u"The display has gone away."_s));
    return {};
}

void X11::pause(int milliseconds) const {
    constexpr int SLICE = 10;
    for (; milliseconds > 0 && !*m_stop; milliseconds -= SLICE) {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(milliseconds, SLICE)));
        if (m_standstill)
            m_standstill->pass();
    }
}

void X11::listenToRoot() {
    // Answers to a ping are sent to the root window, by Qt to those who listen for its own structure only.
    const std::uint32_t listen = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection(), root(), XCB_CW_EVENT_MASK, &listen);
}

Reply<xcb_generic_event_t> X11::takeEvent() {
    Reply<xcb_generic_event_t> event(xcb_poll_for_event(connection()));
    m_newWindows = m_newWindows || (event && (event->response_type & 0x7f) == XCB_MAP_NOTIFY);
    return event;
}

Reply<xcb_generic_event_t> X11::nextEvent(int milliseconds) {
    Reply<xcb_generic_event_t> event;
    waitFor(milliseconds, [&] {
        event = takeEvent();
        return event != nullptr;
    });
    return event;
}

bool X11::hasNewWindows() {
    while (takeEvent()) {
    }
    return std::exchange(m_newWindows, false);
}

} // namespace ombru
