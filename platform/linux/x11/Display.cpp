#include "platform/linux/x11/Display.h"

#include "platform/linux/x11/DisplayTrouble.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRect>

#include <chrono>
#include <mutex>
#include <optional>

namespace ombru {
namespace {

// What decides whether a server lets us in.
struct Authority {
    QByteArray display;
    QString file;
    QDateTime changed; // invalid where there is no such file
    bool operator==(const Authority &) const = default;
};

Authority authorityNow() {
    const auto file = qEnvironmentVariable("XAUTHORITY", QDir::homePath() + QStringLiteral("/.Xauthority"));
    return {qgetenv("DISPLAY"), file, QFileInfo(file).lastModified()};
}

struct Connected {
    xcb_connection_t *connection = nullptr; // none where it is known that it would be refused
    int screen = 0;
};

// A server that has just refused us, or let us in. Not for long: it may have had another reason than our key.
struct Known {
    std::optional<Authority> authority;
    std::chrono::steady_clock::time_point until;

    bool is(const Authority &now) const { return authority == now && std::chrono::steady_clock::now() < until; }
};

// One at a time in this process: what looks up the display's key keeps the name of its file in a buffer of its own,
// and any thread may connect. The library complains of a refusal on standard error itself: one that can be foreseen is
// not asked for, and another one not again and again.
Connected connect() {
    constexpr std::chrono::seconds REMEMBERED(10);
    static std::mutex connecting;
    static Known refused;
    static Known welcome;
    const std::lock_guard alone(connecting);
    const auto authority = authorityNow();
    const bool doubtful = refused.is(authority) || (!authority.changed.isValid() && !welcome.is(authority));
    if (doubtful && isShutToStrangers(authority.display))
        return {};
    Connected result;
    result.connection = xcb_connect(nullptr, &result.screen);
    const int error = xcb_connection_has_error(result.connection);
    const bool shut = error == XCB_CONN_ERROR && isShutToStrangers(authority.display);
    if (error == 0 || shut)
        (shut ? refused : welcome) = {authority, std::chrono::steady_clock::now() + REMEMBERED};
    return result;
}

const xcb_screen_t *screenNumber(xcb_connection_t *connection, int number) {
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; roots.rem > 0 && number > 0; --number)
        xcb_screen_next(&roots);
    return roots.rem > 0 ? roots.data : nullptr;
}

} // namespace

Result<Display> Display::open() {
    const auto [connection, screen] = connect();
    Display display;
    display.m_connection.reset(connection);
    if (connection && xcb_connection_has_error(connection) == 0)
        display.m_screen = screenNumber(connection, screen);
    if (display.m_screen)
        return display;
    const int error = connection ? xcb_connection_has_error(connection) : XCB_CONN_ERROR;
    return std::unexpected(displayTrouble(qgetenv("DISPLAY"), error));
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
