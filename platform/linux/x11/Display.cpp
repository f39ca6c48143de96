#include "platform/linux/x11/Display.h"

#include <QRect>

#include <mutex>

namespace ombru {
namespace {

// One at a time in this process: what looks up the display's key keeps the name of its file in a buffer of its own,
// and any thread may connect.
xcb_connection_t *connect(int &screen) {
    static std::mutex connecting;
    const std::lock_guard alone(connecting);
    return xcb_connect(nullptr, &screen);
}

const xcb_screen_t *screenNumber(xcb_connection_t *connection, int number) {
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; roots.rem > 0 && number > 0; --number)
        xcb_screen_next(&roots);
    return roots.rem > 0 ? roots.data : nullptr;
}

} // namespace

Result<Display> Display::open() {
    int number = 0;
    Display display;
    display.m_connection.reset(connect(number));
    if (xcb_connection_has_error(display.connection()) == 0)
        display.m_screen = screenNumber(display.connection(), number);
    if (display.m_screen)
        return display;
    const QString name = qEnvironmentVariable("DISPLAY");
    return std::unexpected(
        Failure{QStringLiteral("display"), 1,
                name.isEmpty()
                    ? QStringLiteral("There is no display: DISPLAY is not set. Run this inside a desktop session.")
                    : QStringLiteral("The display \"%1\" does not answer. Check DISPLAY and XAUTHORITY.").arg(name)});
}

Reply<xcb_randr_get_monitors_reply_t> Display::monitors() const {
    const auto *randr = xcb_get_extension_data(connection(), &xcb_randr_id);
    if (!randr || !randr->present)
        return nullptr;
    return Reply<xcb_randr_get_monitors_reply_t>(
        xcb_randr_get_monitors_reply(connection(), xcb_randr_get_monitors(connection(), screen().root, 1), nullptr));
}

QRect Display::primaryMonitor() const {
    const auto size = Reply<xcb_get_geometry_reply_t>(
        xcb_get_geometry_reply(connection(), xcb_get_geometry(connection(), screen().root), nullptr));
    if (!size)
        return {};
    const QRect root(0, 0, size->width, size->height);
    const auto all = monitors();
    if (!all)
        return root;
    QRect first;
    for (auto i = xcb_randr_get_monitors_monitors_iterator(all.get()); i.rem > 0; xcb_randr_monitor_info_next(&i)) {
        const QRect monitor = QRect(i.data->x, i.data->y, i.data->width, i.data->height) & root;
        if (monitor.isEmpty())
            continue;
        if (i.data->primary)
            return monitor;
        if (first.isNull())
            first = monitor;
    }
    return first.isNull() ? root : first;
}

bool Display::isWaylandGuest() const {
    const auto all = monitors();
    if (!all)
        return false;
    for (auto i = xcb_randr_get_monitors_monitors_iterator(all.get()); i.rem > 0; xcb_randr_monitor_info_next(&i)) {
        const auto name = Reply<xcb_get_atom_name_reply_t>(
            xcb_get_atom_name_reply(connection(), xcb_get_atom_name(connection(), i.data->name), nullptr));
        if (name && QByteArray(xcb_get_atom_name_name(name.get()), name->name_len).startsWith("XWAYLAND"))
            return true;
    }
    return false;
}

} // namespace ombru
