// ombru-clipboard: puts the text from standard input on the clipboard. Writes "owned" to standard output once it can be
// pasted, or what stands in the way, and then stays behind in a process of its own until something else is copied.
#include "base/Program.h"
#include "platform/linux/x11/Display.h"

#include <QByteArray>

#include <cstring>
#include <unistd.h>
#include <vector>

namespace ombru {
namespace {

constexpr std::size_t PIECE_BYTES = 256 << 10; // longer texts go in pieces of this size

class Owner {
public:
    Owner(Display display, QByteArray text) : m_display(std::move(display)), m_text(std::move(text)) {}

    bool own() {
        const std::uint32_t listen = XCB_EVENT_MASK_PROPERTY_CHANGE;
        m_window = xcb_generate_id(connection());
        xcb_create_window(connection(), 0, m_window, m_display.screen().root, -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, 0, XCB_CW_EVENT_MASK, &listen);
        m_time = serverTime();
        xcb_set_selection_owner(connection(), m_window, atom("CLIPBOARD"), m_time);
        const auto owner = Reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner_reply(
            connection(), xcb_get_selection_owner(connection(), atom("CLIPBOARD")), nullptr));
        return owner && owner->owner == m_window;
    }

    // Until another program owns the clipboard and has had what it asked for, or the display goes.
    void serve() {
        bool owned = true;
        while (owned || !m_transfers.empty()) {
            const Reply<xcb_generic_event_t> event(xcb_wait_for_event(connection()));
            if (!event)
                return;
            switch (event->response_type & 0x7f) {
            case XCB_SELECTION_CLEAR:
                owned = false;
                break;
            case XCB_SELECTION_REQUEST:
                answer(*reinterpret_cast<const xcb_selection_request_event_t *>(event.get()));
                break;
            case XCB_PROPERTY_NOTIFY:
                goOn(*reinterpret_cast<const xcb_property_notify_event_t *>(event.get()));
                break;
            case XCB_DESTROY_NOTIFY:
                forget(reinterpret_cast<const xcb_destroy_notify_event_t *>(event.get())->window);
                break;
            }
            xcb_flush(connection());
        }
    }

private:
    // A text on its way in pieces.
    struct Transfer {
        xcb_window_t window;
        xcb_atom_t property;
        xcb_atom_t type;
        QByteArray bytes;
        std::size_t sent;
    };

    xcb_connection_t *connection() const { return m_display.connection(); }

    xcb_atom_t atom(const char *name) const {
        const auto reply = Reply<xcb_intern_atom_reply_t>(xcb_intern_atom_reply(
            connection(), xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr));
        return reply ? reply->atom : XCB_ATOM_NONE;
    }

    // Owning from "now" needs the server's own time, which comes with the event of a change.
    xcb_timestamp_t serverTime() const {
        xcb_change_property(connection(), XCB_PROP_MODE_APPEND, m_window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0, "");
        xcb_flush(connection());
        while (const Reply<xcb_generic_event_t> event{xcb_wait_for_event(connection())})
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY)
                return reinterpret_cast<const xcb_property_notify_event_t *>(event.get())->time;
        return XCB_CURRENT_TIME;
    }

    void answer(const xcb_selection_request_event_t &request) {
        // Old programs name no property.
        const xcb_atom_t property = request.property == XCB_ATOM_NONE ? request.target : request.property;
        xcb_selection_notify_event_t reply{};
        reply.response_type = XCB_SELECTION_NOTIFY;
        reply.time = request.time;
        reply.requestor = request.requestor;
        reply.selection = request.selection;
        reply.target = request.target;
        reply.property = give(request.requestor, property, request.target) ? property : XCB_ATOM_NONE;
        xcb_send_event(connection(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char *>(&reply));
    }

    bool give(xcb_window_t window, xcb_atom_t property, xcb_atom_t target) {
        const xcb_atom_t unicode[] = {atom("UTF8_STRING"), atom("text/plain;charset=utf-8"), atom("TEXT")};
        const bool wantsUnicode = std::ranges::find(unicode, target) != std::end(unicode);
        if (target == atom("TARGETS")) {
            const xcb_atom_t all[] = {atom("TARGETS"), atom("TIMESTAMP"), unicode[0],
                                      unicode[1],      unicode[2],        XCB_ATOM_STRING};
            write(window, property, XCB_ATOM_ATOM, 32, std::size(all), all);
        } else if (target == atom("TIMESTAMP")) {
            write(window, property, XCB_ATOM_INTEGER, 32, 1, &m_time);
        } else if (wantsUnicode) {
            send(window, property, target == unicode[1] ? target : unicode[0], m_text);
        } else if (target == XCB_ATOM_STRING) {
            send(window, property, XCB_ATOM_STRING, QString::fromUtf8(m_text).toLatin1());
        } else {
            return false;
        }
        return true;
    }

    void write(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, std::uint8_t bits, std::size_t count,
               const void *data) const {
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window, property, type, bits,
                            static_cast<std::uint32_t>(count), data);
    }

    void send(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, const QByteArray &bytes) {
        const auto size = static_cast<std::size_t>(bytes.size());
        if (size <= PIECE_BYTES) {
            write(window, property, type, 8, size, bytes.constData());
            return;
        }
        const std::uint32_t listen = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection(), window, XCB_CW_EVENT_MASK, &listen);
        const auto total = static_cast<std::uint32_t>(size);
        write(window, property, atom("INCR"), 32, 1, &total);
        m_transfers.push_back({window, property, type, bytes, 0});
    }

    // The reader deletes each piece when it has it; an empty one ends the text.
    void goOn(const xcb_property_notify_event_t &change) {
        if (change.state != XCB_PROPERTY_DELETE)
            return;
        const auto transfer = std::ranges::find_if(m_transfers, [&](const Transfer &candidate) {
            return candidate.window == change.window && candidate.property == change.atom;
        });
        if (transfer == m_transfers.end())
            return;
        const std::size_t left = static_cast<std::size_t>(transfer->bytes.size()) - transfer->sent;
        const std::size_t count = std::min(left, PIECE_BYTES);
        write(transfer->window, transfer->property, transfer->type, 8, count,
              transfer->bytes.constData() + transfer->sent);
        transfer->sent += count;
        if (count == 0)
            m_transfers.erase(transfer);
    }

    void forget(xcb_window_t window) {
        std::erase_if(m_transfers, [&](const Transfer &transfer) { return transfer.window == window; });
    }

    Display m_display;
    QByteArray m_text;
    xcb_window_t m_window = XCB_NONE;
    xcb_timestamp_t m_time = XCB_CURRENT_TIME;
    std::vector<Transfer> m_transfers;
};

QByteArray readStandardInput() {
    QByteArray all;
    char buffer[64 << 10];
    ssize_t count = 0;
    while ((count = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0)
        all.append(buffer, count);
    return all;
}

void say(const QByteArray &line) {
    const QByteArray text = line + '\n';
    if (::write(STDOUT_FILENO, text.constData(), static_cast<std::size_t>(text.size())) < 0)
        _exit(1); // nobody listens
    ::close(STDOUT_FILENO);
}

int keep(QByteArray text) {
    auto display = Display::open();
    if (!display) {
        say(display.error().description.toUtf8());
        return 1;
    }
    Owner owner(std::move(*display), std::move(text));
    if (!owner.own()) {
        say("The clipboard did not take the text.");
        return 1;
    }
    say("owned");
    owner.serve();
    return 0;
}

} // namespace
} // namespace ombru

int main() {
    ombru::beginProgram();
    QByteArray text = ombru::readStandardInput();
    // The first process ends at once, so that whoever started it has no child to wait for.
    const pid_t child = ::fork();
    if (child != 0)
        return child < 0 ? 1 : 0;
    return ombru::keep(std::move(text));
}
