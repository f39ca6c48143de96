#include "osascript/desktop/X11Clipboard.h"

#include "base/Spawn.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int PATIENCE_MILLISECONDS = 5'000; // without any progress
constexpr int LOOK_AGAIN_MILLISECONDS = 100;

Failure ownerIsSilent() {
    return desktopFailure(TIMED_OUT, u"The application that owns the clipboard does not hand over its text."_s);
}

// A conversion in progress: the owner writes to a property of our window.
class Conversion {
public:
    explicit Conversion(X11 &x11) : m_x11(&x11), m_window(xcb_generate_id(x11.connection())) {
        const std::uint32_t listen = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(x11.connection(), 0, m_window, x11.root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0,
                          XCB_CW_EVENT_MASK, &listen);
    }

    // None when the owner has no such form of it, or there is no owner.
    Result<std::optional<QByteArray>> run(const char *target) {
        xcb_window_t asked = request(target);
        for (int waited = 0; waited < PATIENCE_MILLISECONDS; waited += LOOK_AGAIN_MILLISECONDS) {
            while (const auto event = m_x11->nextEvent(LOOK_AGAIN_MILLISECONDS)) {
                const auto *answer = reinterpret_cast<const xcb_selection_notify_event_t *>(event.get());
                if ((event->response_type & 0x7f) != XCB_SELECTION_NOTIFY || answer->target != m_x11->atom(target))
                    continue;
                if (answer->property == XCB_ATOM_NONE)
                    return std::nullopt;
                return take();
            }
            // An owner that ended meanwhile never answers; the server answers for nobody.
            if (owner() != asked)
                asked = request(target);
        }
        return std::unexpected(silence());
    }

private:
    xcb_atom_t property() { return m_x11->atom("OMBRU_CLIPBOARD"); }

    xcb_window_t owner() {
        const auto reply = Reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner_reply(
            m_x11->connection(), xcb_get_selection_owner(m_x11->connection(), m_x11->atom("CLIPBOARD")), nullptr));
        return reply ? reply->owner : XCB_NONE;
    }

    // Gives the owner that was asked.
    xcb_window_t request(const char *target) {
        const xcb_window_t asked = owner();
        xcb_convert_selection(m_x11->connection(), m_window, m_x11->atom("CLIPBOARD"), m_x11->atom(target), property(),
                              XCB_CURRENT_TIME);
        return asked;
    }

    Failure silence() {
        const auto alive = m_x11->flush();
        return alive ? ownerIsSilent() : alive.error();
    }

    Result<std::optional<QByteArray>> take() {
        xcb_atom_t type = XCB_ATOM_NONE;
        QByteArray all = readProperty(type);
        if (type != m_x11->atom("INCR"))
            return all;
        all.clear();
        while (waitForPiece()) {
            const QByteArray piece = readProperty(type);
            if (type == XCB_ATOM_NONE)
                continue; // our own deletion of the piece before
            if (piece.isEmpty())
                return all;
            all += piece;
        }
        return std::unexpected(silence());
    }

    bool waitForPiece() {
        while (const auto event = m_x11->nextEvent(PATIENCE_MILLISECONDS)) {
            const auto *change = reinterpret_cast<const xcb_property_notify_event_t *>(event.get());
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && change->window == m_window &&
                change->atom == property() && change->state == XCB_PROPERTY_NEW_VALUE)
                return true;
        }
        return false;
    }

    // Whole, and deleted: that asks for the next piece.
    QByteArray readProperty(xcb_atom_t &type) {
        constexpr std::uint32_t EVERYTHING = 0x1fffffff;
        const auto reply = Reply<xcb_get_property_reply_t>(xcb_get_property_reply(
            m_x11->connection(),
            xcb_get_property(m_x11->connection(), 1, m_window, property(), XCB_GET_PROPERTY_TYPE_ANY, 0, EVERYTHING),
            nullptr));
        type = reply ? reply->type : XCB_ATOM_NONE;
        if (!reply)
            return {};
        return {static_cast<const char *>(xcb_get_property_value(reply.get())),
                xcb_get_property_value_length(reply.get())};
    }

    X11 *m_x11;
    xcb_window_t m_window;
};

// Beside this module.
QString ownerProgram() {
    Dl_info module{};
    static const int HERE = 0;
    dladdr(&HERE, &module);
    return QFileInfo(QFile::decodeName(module.dli_fname)).absolutePath() + u"/ombru-clipboard"_s;
}

bool writeAll(int pipe, QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const ssize_t written = ::write(pipe, bytes.data(), static_cast<std::size_t>(bytes.size()));
        if (written < 0 && errno != EINTR)
            return false;
        bytes = bytes.sliced(std::max<ssize_t>(written, 0));
    }
    return true;
}

QByteArray readAll(int pipe) {
    QByteArray all;
    char buffer[256];
    pollfd readable{pipe, POLLIN, 0};
    while (::poll(&readable, 1, PATIENCE_MILLISECONDS) == 1) {
        const ssize_t count = ::read(pipe, buffer, sizeof buffer);
        if (count == 0 || (count < 0 && errno != EINTR))
            break;
        all.append(buffer, std::max<ssize_t>(count, 0));
    }
    return all;
}

Result<QString> readClipboard(X11 &x11) {
    Conversion conversion(x11);
    const auto unicode = conversion.run("UTF8_STRING");
    if (!unicode)
        return std::unexpected(unicode.error());
    if (*unicode)
        return QString::fromUtf8(**unicode);
    const auto latin = conversion.run("STRING");
    if (!latin)
        return std::unexpected(latin.error());
    return QString::fromLatin1(latin->value_or(QByteArray()));
}

Result<> writeClipboard(const QString &text) {
    auto input = makePipe();
    auto output = makePipe();
    if (!input || !output)
        return std::unexpected(input ? output.error() : input.error());
    const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    SpawnRequest request;
    request.program = ownerProgram();
    request.environment = ownersEnvironment();
    request.input = input->reading.number();
    request.output = output->writing.number();
    request.errors = nowhere.number();
    const auto child = spawn(request);
    if (!child)
        return std::unexpected(desktopFailure(CANNOT_DO_IT, child.error().description));
    input->reading.close();
    output->writing.close();
    const bool sent = writeAll(input->writing.number(), text.toUtf8());
    input->writing.close();
    const QByteArray answer = readAll(output->reading.number());
    while (::waitpid(*child, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (sent && answer == "owned\n")
        return {};
    return std::unexpected(desktopFailure(CANNOT_DO_IT, answer.isEmpty() ? u"The clipboard did not take the text."_s
                                                                         : QString::fromUtf8(answer.trimmed())));
}

} // namespace

Result<QString> X11Clipboard::text() {
    return m_turns->onDisplay(readClipboard);
}

Result<> X11Clipboard::setText(const QString &text) {
    return m_turns->anywhere([&] { return writeClipboard(text); });
}

} // namespace ombru
