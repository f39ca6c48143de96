#include "platform/linux/x11/Receivers.h"

#include <span>
#include <xcb/res.h>

namespace ombru {
namespace {

constexpr int DEEPEST = 20; // windows in windows; what is deeper is of the same program

Reply<xcb_query_tree_reply_t> treeOf(const X11 &x11, xcb_window_t window) {
    return Reply<xcb_query_tree_reply_t>(
        xcb_query_tree_reply(x11.connection(), xcb_query_tree(x11.connection(), window), nullptr));
}

std::span<const xcb_window_t> childrenIn(const xcb_query_tree_reply_t &tree) {
    return {xcb_query_tree_children(&tree), std::size_t(xcb_query_tree_children_length(&tree))};
}

// The window and those that it is in, the outermost first; without the root.
std::vector<xcb_window_t> pathTo(const X11 &x11, xcb_window_t window) {
    std::vector<xcb_window_t> path;
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != x11.root()) {
        path.push_back(window);
        const auto tree = treeOf(x11, window);
        window = tree ? tree->parent : xcb_window_t(XCB_NONE);
    }
    std::ranges::reverse(path);
    return path;
}

// The window manager's frame is around the window that it knows.
xcb_window_t managedWithin(X11 &x11, xcb_window_t window, int depth) {
    if (!x11.numbers(window, "WM_STATE").empty())
        return window;
    const auto tree = depth > 0 ? treeOf(x11, window) : nullptr;
    for (const xcb_window_t child : tree ? childrenIn(*tree) : std::span<const xcb_window_t>()) {
        if (const auto found = managedWithin(x11, child, depth - 1); found != XCB_NONE)
            return found;
    }
    return XCB_NONE;
}

// The innermost window within that one which has the pointer in it, or that one itself: it gets the keys, though
// another has the focus.
xcb_window_t underPointer(const X11 &x11, xcb_window_t window) {
    for (int depth = 0; depth < DEEPEST; ++depth) {
        const auto pointer = Reply<xcb_query_pointer_reply_t>(
            xcb_query_pointer_reply(x11.connection(), xcb_query_pointer(x11.connection(), window), nullptr));
        if (!pointer || pointer->child == XCB_NONE)
            break;
        window = pointer->child;
    }
    return window;
}

bool isOpen(const xcb_get_window_attributes_reply_t &looks) {
    return looks.override_redirect && looks.map_state == XCB_MAP_STATE_VIEWABLE &&
           looks._class != XCB_WINDOW_CLASS_INPUT_ONLY;
}

bool onlyTells(X11 &x11, xcb_window_t window) {
    const auto types = x11.numbers(window, "_NET_WM_WINDOW_TYPE");
    return std::ranges::any_of(
        std::array{"_NET_WM_WINDOW_TYPE_TOOLTIP", "_NET_WM_WINDOW_TYPE_NOTIFICATION", "_NET_WM_WINDOW_TYPE_DND"},
        [&](const char *type) { return contains(types, x11.atom(type)); });
}

DesktopWindow described(X11 &x11, xcb_window_t window) {
    DesktopWindow result;
    result.handle = window;
    result.pid = processOf(x11, window);
    const QStringList names = x11.text(window, "WM_CLASS").split(QChar(u'\0'));
    result.instance = names.value(0);
    result.className = names.value(1);
    return result;
}

// Unless it tells nothing that the others do not: no other process, and no other name.
void addTelling(std::vector<DesktopWindow> &owners, const DesktopWindow &window) {
    const bool isNameless = window.className.isEmpty() && window.instance.isEmpty();
    const bool isKnown = std::ranges::any_of(owners, [&](const DesktopWindow &owner) {
        const bool sameName = owner.className == window.className && owner.instance == window.instance;
        return owner.pid == window.pid && (isNameless || sameName);
    });
    if (!isKnown)
        owners.push_back(window);
}

// What other windows of the same processes call themselves: one of them may tell whose it is, where these do not.
void addKin(X11 &x11, std::vector<DesktopWindow> &owners) {
    for (const auto window : x11.numbers(x11.root(), "_NET_CLIENT_LIST")) {
        const auto other = described(x11, window);
        const auto isOf = [&other](const DesktopWindow &owner) { return other.pid > 0 && owner.pid == other.pid; };
        if (std::ranges::any_of(owners, isOf))
            addTelling(owners, other);
    }
}

} // namespace

xcb_window_t keyReceiver(X11 &x11) {
    const xcb_window_t focus = x11.inputFocus();
    if (focus == XCB_INPUT_FOCUS_POINTER_ROOT || focus == x11.root())
        return pointerReceiver(x11);
    return focus == XCB_NONE ? focus : underPointer(x11, focus);
}

xcb_window_t pointerReceiver(X11 &x11) {
    const auto pointer = Reply<xcb_query_pointer_reply_t>(
        xcb_query_pointer_reply(x11.connection(), xcb_query_pointer(x11.connection(), x11.root()), nullptr));
    return pointer ? windowAt(x11, {pointer->root_x, pointer->root_y}) : xcb_window_t(XCB_NONE);
}

xcb_window_t windowAt(const X11 &x11, QPoint place) {
    xcb_window_t found = XCB_NONE;
    xcb_window_t within = x11.root();
    for (int depth = 0; depth < DEEPEST; ++depth) {
        const auto below = Reply<xcb_translate_coordinates_reply_t>(
            xcb_translate_coordinates_reply(x11.connection(),
                                            xcb_translate_coordinates(x11.connection(), x11.root(), within,
                                                                      std::int16_t(place.x()), std::int16_t(place.y())),
                                            nullptr));
        if (!below || below->child == XCB_NONE)
            break;
        found = within = below->child;
    }
    return found;
}

std::vector<xcb_window_t> openMenus(X11 &x11) {
    const auto tree = treeOf(x11, x11.root());
    if (!tree)
        return {};
    // All are asked about before the first answer is read: there may be a hundred.
    std::vector<std::pair<xcb_window_t, xcb_get_window_attributes_cookie_t>> asked;
    for (const xcb_window_t window : childrenIn(*tree))
        asked.emplace_back(window, xcb_get_window_attributes(x11.connection(), window));
    std::vector<xcb_window_t> menus;
    for (const auto &[window, cookie] : asked) {
        const auto looks = Reply<xcb_get_window_attributes_reply_t>(
            xcb_get_window_attributes_reply(x11.connection(), cookie, nullptr));
        if (looks && isOpen(*looks) && !onlyTells(x11, window))
            menus.push_back(window);
    }
    return menus;
}

std::vector<DesktopWindow> ownersOf(X11 &x11, xcb_window_t window) {
    constexpr int IN_A_FRAME = 3;
    auto path = pathTo(x11, window);
    if (path.empty())
        return {};
    // A frame is the window manager's, and so is all of it but the window that it is around.
    const auto managed = std::ranges::find_if(path, [&](auto part) { return !x11.numbers(part, "WM_STATE").empty(); });
    if (managed != path.end())
        path.erase(path.begin(), managed);
    else if (const auto framed = managedWithin(x11, path.front(), IN_A_FRAME); framed != XCB_NONE)
        path = {framed};
    std::vector<DesktopWindow> owners;
    for (const auto part : path)
        addTelling(owners, described(x11, part));
    addKin(x11, owners);
    return owners;
}

// What the server knows is right in containers too, where a window's own word is not; not every server tells.
qint64 processOf(X11 &x11, xcb_window_t window) {
    const auto *extension = xcb_get_extension_data(x11.connection(), &xcb_res_id);
    if (!extension || !extension->present)
        return x11.number(window, "_NET_WM_PID");
    const xcb_res_client_id_spec_t wanted{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const auto reply = Reply<xcb_res_query_client_ids_reply_t>(xcb_res_query_client_ids_reply(
        x11.connection(), xcb_res_query_client_ids(x11.connection(), 1, &wanted), nullptr));
    if (!reply)
        return x11.number(window, "_NET_WM_PID");
    for (auto i = xcb_res_query_client_ids_ids_iterator(reply.get()); i.rem > 0; xcb_res_client_id_value_next(&i))
        if ((i.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
            xcb_res_client_id_value_value_length(i.data) == 1)
            return *xcb_res_client_id_value_value(i.data);
    return x11.number(window, "_NET_WM_PID");
}

} // namespace ombru
