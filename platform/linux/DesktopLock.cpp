#include "platform/DesktopLock.h"

#include "base/Descriptor.h"
#include "platform/linux/x11/Display.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr std::string_view SELECTION = "_OMBRU_TASK";

// The owner of a selection of the X server, as long as it lives.
class SelectionLock {
public:
    explicit SelectionLock(Display display) : m_display(std::move(display)) {}
    SelectionLock(const SelectionLock &) = delete;
    SelectionLock &operator=(const SelectionLock &) = delete;
    // Giving it back before the connection closes lets the next one have it that asks after this.
    ~SelectionLock() {
        if (m_owned)
            xcb_set_selection_owner(connection(), XCB_NONE, m_selection, XCB_CURRENT_TIME);
        xcb_flush(connection());
    }

    bool take() {
        m_selection = atom();
        const auto window = xcb_generate_id(connection());
        xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window, m_display.screen().root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_grab_server(connection()); // nobody comes between looking and taking
        if (owner() == XCB_NONE)
            xcb_set_selection_owner(connection(), window, m_selection, XCB_CURRENT_TIME);
        xcb_ungrab_server(connection());
        m_owned = owner() == window;
        return m_owned;
    }

    bool displayHasGone() const { return xcb_connection_has_error(connection()) != 0; }

private:
    xcb_connection_t *connection() const { return m_display.connection(); }
    xcb_atom_t atom() const {
        const auto asked = xcb_intern_atom(connection(), 0, std::uint16_t(SELECTION.size()), SELECTION.data());
        const auto reply = Reply<xcb_intern_atom_reply_t>(xcb_intern_atom_reply(connection(), asked, nullptr));
        return reply ? reply->atom : XCB_NONE;
    }
    std::optional<xcb_window_t> owner() const {
        const auto asked = xcb_get_selection_owner(connection(), m_selection);
        const auto reply =
            Reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner_reply(connection(), asked, nullptr));
        return reply ? std::optional(reply->owner) : std::nullopt;
    }

    Display m_display;
    xcb_atom_t m_selection = XCB_NONE;
    bool m_owned = false;
};

std::optional<DesktopLock> lockOnDisplay(Display display) {
    auto lock = std::make_shared<SelectionLock>(std::move(display));
    if (lock->take())
        return DesktopLock(std::move(lock));
    return lock->displayHasGone() ? std::optional<DesktopLock>(DesktopLock()) : std::nullopt;
}

// The compositor's socket under its one name; empty when there is none.
QString waylandSocket() {
    const auto name = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (name.isEmpty())
        return {};
    return QFileInfo(QDir(qEnvironmentVariable("XDG_RUNTIME_DIR")), name).canonicalFilePath();
}

Result<std::optional<DesktopLock>> lockBesideSocket(const QString &socket) {
    const auto path = socket + u".ombru-task.lock"_s;
    Descriptor file(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (file.isOpen() && ::flock(file.number(), LOCK_EX | LOCK_NB) == 0)
        return DesktopLock(std::make_shared<Descriptor>(std::move(file)));
    if (file.isOpen() && errno == EWOULDBLOCK)
        return std::nullopt;
    return std::unexpected(
        Failure{u"desktop"_s, errno,
                u"Cannot write %1: check that its directory is yours and the disk is not full."_s.arg(path)});
}

// "unix:1.0" is ":1", too.
QString displayName() {
    const auto name = qEnvironmentVariable("DISPLAY");
    const auto colon = name.lastIndexOf(u':');
    if (colon < 0)
        return name;
    auto host = name.first(colon);
    if (host == "unix"_L1 || host.endsWith("/unix"_L1) || host.endsWith(u'/'))
        host.clear();
    return host + u':' + name.sliced(colon + 1).section(u'.', 0, 0);
}

} // namespace

// The file first: also a program of the session that cannot reach the X server asks for it.
Result<std::optional<DesktopLock>> lockDesktop() {
    const auto socket = waylandSocket();
    auto file = socket.isEmpty() ? Result<std::optional<DesktopLock>>(DesktopLock()) : lockBesideSocket(socket);
    auto display = Display::open();
    if (!display || (file && !*file))
        return file;
    auto selection = lockOnDisplay(std::move(*display));
    if (!selection || !file)
        return selection; // what the X server says counts where the file cannot be made
    return DesktopLock(std::make_shared<std::pair<DesktopLock, DesktopLock>>(**file, *selection));
}

QString desktopName() {
    const auto socket = waylandSocket();
    return socket.isEmpty() ? displayName() : socket;
}

} // namespace ombru
