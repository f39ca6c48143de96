#include "platform/linux/x11/ManagedWindows.h"

#include "platform/linux/x11/Receivers.h"

#include <QMargins>

#include <algorithm>
#include <xcb/xcb_icccm.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int PATIENCE_MILLISECONDS = 3'000;
constexpr int BACKLOG_MILLISECONDS = 30'000;
constexpr int ASK_AGAIN_MILLISECONDS = 1'000;
constexpr std::uint32_t PAGER = 2;    // the source of a message that the window manager obeys without second thoughts
constexpr int NORTH_WEST_GRAVITY = 1; // the place is the frame's, the size the client's

QString frontText(const QString &name, const QString &fallback) {
    return name.isEmpty() ? fallback : name;
}

} // namespace

Result<ManagedWindows> ManagedWindows::of(X11 x11) {
    ManagedWindows windows(std::move(x11));
    const auto ready = windows.awaitManager();
    if (!ready)
        return std::unexpected(ready.error());
    return windows;
}

std::vector<DesktopWindow> ManagedWindows::all() {
    auto stack = m_x11.numbers(m_x11.root(), "_NET_CLIENT_LIST_STACKING");
    std::ranges::reverse(stack);
    const xcb_window_t active = m_x11.number(m_x11.root(), "_NET_ACTIVE_WINDOW");
    const QPoint origin = m_x11.origin();
    std::vector<DesktopWindow> result;
    for (const xcb_window_t window : stack)
        if (isListed(window))
            result.push_back(describe(window, active, origin));
    return result;
}

DesktopWindow ManagedWindows::window(std::uint64_t handle) {
    return describe(static_cast<xcb_window_t>(handle), m_x11.number(m_x11.root(), "_NET_ACTIVE_WINDOW"),
                    m_x11.origin());
}

bool ManagedWindows::isListed(xcb_window_t window) {
    if (clientArea(window).isNull())
        return false;
    const auto types = m_x11.numbers(window, "_NET_WM_WINDOW_TYPE");
    const auto is = [&](const char *type) { return contains(types, m_x11.atom(type)); };
    for (const char *type :
         {"_NET_WM_WINDOW_TYPE_DOCK", "_NET_WM_WINDOW_TYPE_DESKTOP", "_NET_WM_WINDOW_TYPE_MENU",
          "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", "_NET_WM_WINDOW_TYPE_POPUP_MENU", "_NET_WM_WINDOW_TYPE_TOOLTIP",
          "_NET_WM_WINDOW_TYPE_NOTIFICATION", "_NET_WM_WINDOW_TYPE_COMBO", "_NET_WM_WINDOW_TYPE_DND"})
        if (is(type))
            return false;
    const bool dialog = is("_NET_WM_WINDOW_TYPE_DIALOG") || m_x11.number(window, "WM_TRANSIENT_FOR") != 0;
    return dialog || !hasState(window, "_NET_WM_STATE_SKIP_TASKBAR");
}

bool ManagedWindows::hasState(xcb_window_t window, const char *state) {
    return contains(m_x11.numbers(window, "_NET_WM_STATE"), m_x11.atom(state));
}

DesktopWindow ManagedWindows::describe(xcb_window_t window, xcb_window_t active, QPoint origin) {
    DesktopWindow result;
    result.handle = window;
    result.pid = processOf(m_x11, window);
    const QStringList names = m_x11.text(window, "WM_CLASS").split(QChar(u'\0'));
    result.instance = names.value(0);
    result.className = names.value(1);
    result.title = frontText(m_x11.text(window, "_NET_WM_NAME"), m_x11.text(window, "WM_NAME"));
    const QRect frame = clientArea(window).marginsAdded(frameOf(window));
    result.position = frame.topLeft() - origin;
    result.size = frame.size();
    result.minimized = hasState(window, "_NET_WM_STATE_HIDDEN");
    result.focused = window == active;
    return result;
}

// From what the program draws to what is seen as the window: the window manager's frame around it, less the shadow
// that a program drew itself.
QMargins ManagedWindows::frameOf(xcb_window_t window) {
    QMargins result;
    const auto frame = m_x11.numbers(window, "_NET_FRAME_EXTENTS"); // left, right, top, bottom
    if (frame.size() == 4)
        result += QMargins(int(frame[0]), int(frame[2]), int(frame[1]), int(frame[3]));
    const auto shadow = m_x11.numbers(window, "_GTK_FRAME_EXTENTS");
    if (shadow.size() == 4)
        result -= QMargins(int(shadow[0]), int(shadow[2]), int(shadow[1]), int(shadow[3]));
    return result;
}

QRect ManagedWindows::clientArea(xcb_window_t window) {
    auto *connection = m_x11.connection();
    const auto sizeAsked = xcb_get_geometry(connection, window);
    const auto placeAsked = xcb_translate_coordinates(connection, window, m_x11.root(), 0, 0);
    const auto size = Reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply(connection, sizeAsked, nullptr));
    const auto place =
        Reply<xcb_translate_coordinates_reply_t>(xcb_translate_coordinates_reply(connection, placeAsked, nullptr));
    return size && place ? QRect(place->dst_x, place->dst_y, size->width, size->height) : QRect();
}

Result<xcb_window_t> ManagedWindows::find(std::uint64_t handle) {
    const auto window = static_cast<xcb_window_t>(handle);
    if (contains(m_x11.numbers(m_x11.root(), "_NET_CLIENT_LIST_STACKING"), window))
        return window;
    if (const auto alive = m_x11.flush(); !alive)
        return std::unexpected(alive.error());
    return std::unexpected(desktopFailure(NO_SUCH_OBJECT, u"The window is not there any more."_s));
}

Result<> ManagedWindows::activate(std::uint64_t handle) {
    const auto window = find(handle);
    if (!window)
        return std::unexpected(window.error());
    const auto active = [&] { return m_x11.number(m_x11.root(), "_NET_ACTIVE_WINDOW"); };
    m_x11.tellManager(*window, "_NET_ACTIVE_WINDOW", {PAGER, XCB_CURRENT_TIME, active(), 0, 0});
    // The window manager must be through with it, or it would take the focus away once more in the middle of the
    // typing.
    if (const auto done = awaitManager(); !done)
        return done;
    // A window that waits for its own dialog hands the focus on to that.
    const auto hasFocus = [&] { return leadsTo(active(), *window) && leadsTo(focused(), *window); };
    if (m_x11.waitFor(PATIENCE_MILLISECONDS, hasFocus))
        return {};
    if (const auto alive = m_x11.flush(); !alive)
        return alive;
    return std::unexpected(desktopFailure(CANNOT_DO_IT, u"The window manager did not give the window the focus."_s));
}

// Returns once the window manager has answered a question, and so has done all that it was asked before: it falls
// behind when the keyboard map changes, and lists windows that have gone. One that has just started announces itself
// before it listens, so the question is asked again.
Result<> ManagedWindows::awaitManager() {
    const xcb_window_t manager = m_x11.number(m_x11.root(), "_NET_SUPPORTING_WM_CHECK");
    const bool runs = manager != 0 && m_x11.number(manager, "_NET_SUPPORTING_WM_CHECK") == manager;
    if (const auto alive = m_x11.flush(); !alive)
        return alive;
    if (!runs)
        return std::unexpected(desktopFailure(
            CANNOT_DO_IT, u"No window manager runs on this display, so its windows cannot be listed or moved. "
                          "Start one, such as openbox."_s));
    const char *question = "_NET_REQUEST_FRAME_EXTENTS";
    if (!contains(m_x11.numbers(m_x11.root(), "_NET_SUPPORTED"), m_x11.atom(question)))
        return {};
    const auto asking = xcb_generate_id(m_x11.connection());
    xcb_create_window(m_x11.connection(), 0, asking, m_x11.root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0, 0,
                      nullptr);
    bool answered = false;
    for (int waited = 0; !answered && waited < BACKLOG_MILLISECONDS && m_x11.mayWait();
         waited += ASK_AGAIN_MILLISECONDS) {
        m_x11.tellManager(asking, question, {});
        answered =
            m_x11.waitFor(ASK_AGAIN_MILLISECONDS, [&] { return !m_x11.numbers(asking, "_NET_FRAME_EXTENTS").empty(); });
    }
    xcb_destroy_window(m_x11.connection(), asking);
    if (const auto alive = m_x11.flush(); answered || !alive)
        return alive;
    return std::unexpected(desktopFailure(TIMED_OUT, u"The window manager does not respond."_s));
}

// The window known to the window manager that has the keyboard; often a child of it has.
xcb_window_t ManagedWindows::focused() {
    return m_x11.managedWindow(m_x11.inputFocus());
}

bool ManagedWindows::leadsTo(xcb_window_t from, xcb_window_t owner) {
    constexpr int DEEPEST = 10; // dialogs of dialogs; a loop is possible
    for (int depth = 0; from != 0 && depth < DEEPEST; ++depth) {
        if (from == owner)
            return true;
        from = m_x11.number(from, "WM_TRANSIENT_FOR");
    }
    return false;
}

Result<> ManagedWindows::raise(std::uint64_t handle) {
    const auto window = find(handle);
    if (!window)
        return std::unexpected(window.error());
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    m_x11.tellManager(*window, "_NET_RESTACK_WINDOW", {PAGER, 0, above, 0, 0});
    // Windows that are kept above all others, and their own dialogs, stay above this one.
    m_x11.waitFor(PATIENCE_MILLISECONDS / 6, [&] {
        const auto stack = m_x11.numbers(m_x11.root(), "_NET_CLIENT_LIST_STACKING");
        return stack.empty() || stack.back() == *window;
    });
    return m_x11.flush();
}

Result<> ManagedWindows::close(std::uint64_t handle) {
    const auto window = find(handle);
    if (!window)
        return std::unexpected(window.error());
    m_x11.tellManager(*window, "_NET_CLOSE_WINDOW", {XCB_CURRENT_TIME, PAGER, 0, 0, 0});
    return m_x11.flush();
}

Result<> ManagedWindows::setMinimized(std::uint64_t handle, bool minimized) {
    const auto window = find(handle);
    if (!window)
        return std::unexpected(window.error());
    if (minimized && !canBeMinimized(*window))
        return std::unexpected(desktopFailure(CANNOT_DO_IT, u"The window cannot be minimised."_s));
    if (minimized)
        m_x11.tellManager(*window, "WM_CHANGE_STATE", {XCB_ICCCM_WM_STATE_ICONIC, 0, 0, 0, 0});
    else
        xcb_map_window(m_x11.connection(), *window);
    const bool done =
        m_x11.waitFor(PATIENCE_MILLISECONDS, [&] { return hasState(*window, "_NET_WM_STATE_HIDDEN") == minimized; });
    if (const auto alive = m_x11.flush(); done || !alive)
        return alive;
    return std::unexpected(desktopFailure(CANNOT_DO_IT, minimized ? u"The window cannot be minimised."_s
                                                                  : u"The window cannot be brought back."_s));
}

// Window managers that say what they can do also say which windows they let be minimised.
bool ManagedWindows::canBeMinimized(xcb_window_t window) {
    const auto supported = m_x11.numbers(m_x11.root(), "_NET_SUPPORTED");
    if (!contains(supported, m_x11.atom("_NET_WM_STATE_HIDDEN")))
        return false;
    const auto allowed = m_x11.numbers(window, "_NET_WM_ALLOWED_ACTIONS");
    const auto minimize = m_x11.atom("_NET_WM_ACTION_MINIMIZE");
    return allowed.empty() || !contains(supported, minimize) || contains(allowed, minimize);
}

Result<> ManagedWindows::move(std::uint64_t handle, QPoint position) {
    const auto window = find(handle);
    if (!window)
        return std::unexpected(window.error());
    unmaximize(*window);
    QRect frame = clientArea(*window).marginsAdded(frameOf(*window));
    frame.moveTopLeft(position + m_x11.origin());
    constexpr std::uint32_t X_AND_Y = 3;
    return place(*window, frame.marginsRemoved(frameOf(*window)), X_AND_Y);
}

Result<> ManagedWindows::resize(std::uint64_t handle, QSize size) {
    const auto window = find(handle);
    if (!window)
        return std::unexpected(window.error());
    unmaximize(*window);
    QRect frame = clientArea(*window).marginsAdded(frameOf(*window));
    frame.setSize(size);
    QRect client = frame.marginsRemoved(frameOf(*window));
    client.setSize(client.size().expandedTo({1, 1}));
    constexpr std::uint32_t WIDTH_AND_HEIGHT = 12;
    return place(*window, client, WIDTH_AND_HEIGHT);
}

// A maximised window would stay as it is.
void ManagedWindows::unmaximize(xcb_window_t window) {
    constexpr std::uint32_t REMOVE = 0;
    const auto is = [&](const char *state) { return hasState(window, state); };
    const char *wide = "_NET_WM_STATE_MAXIMIZED_HORZ";
    const char *high = "_NET_WM_STATE_MAXIMIZED_VERT";
    const char *full = "_NET_WM_STATE_FULLSCREEN";
    if (!is(wide) && !is(high) && !is(full))
        return;
    m_x11.tellManager(window, "_NET_WM_STATE", {REMOVE, m_x11.atom(wide), m_x11.atom(high), PAGER, 0});
    m_x11.tellManager(window, "_NET_WM_STATE", {REMOVE, m_x11.atom(full), 0, PAGER, 0});
    m_x11.waitFor(PATIENCE_MILLISECONDS, [&] { return !is(wide) && !is(high) && !is(full); });
}

// Returns once the window is there, or the window manager answered with another place (it keeps windows on the screen,
// and terminals to whole lines).
Result<> ManagedWindows::place(xcb_window_t window, QRect client, std::uint32_t which) {
    const std::uint32_t listen = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_x11.connection(), window, XCB_CW_EVENT_MASK, &listen);
    const auto frame = m_x11.numbers(window, "_NET_FRAME_EXTENTS"); // left, right, top, bottom
    const QPoint corner = client.topLeft() - (frame.size() == 4 ? QPoint(int(frame[0]), int(frame[2])) : QPoint());
    m_x11.tellManager(window, "_NET_MOVERESIZE_WINDOW",
                      {NORTH_WEST_GRAVITY | which << 8 | PAGER << 12, static_cast<std::uint32_t>(corner.x()),
                       static_cast<std::uint32_t>(corner.y()), static_cast<std::uint32_t>(client.width()),
                       static_cast<std::uint32_t>(client.height())});
    constexpr int QUIET_MILLISECONDS = 100;
    int quiet = PATIENCE_MILLISECONDS / 3;
    while (clientArea(window) != client) {
        const auto event = m_x11.nextEvent(quiet);
        if (!event)
            break;
        if ((event->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY)
            quiet = QUIET_MILLISECONDS;
    }
    return m_x11.flush();
}

} // namespace ombru
