#include "osascript/desktop/Settled.h"

#include <algorithm>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int PATIENCE_MILLISECONDS = 10'000;
constexpr int PAUSE_AFTER_ANSWER = 10; // for a menu or launcher that holds the keyboard beside the focused window

} // namespace

Settled::Settled(X11 &x11) : m_x11(&x11) {
    m_x11->listenToRoot();
}

Result<> Settled::wait(int milliseconds) {
    const xcb_window_t window = m_x11->managedWindow(m_x11->inputFocus());
    const bool answers = contains(m_x11->numbers(window, "WM_PROTOCOLS"), m_x11->atom("_NET_WM_PING"));
    const Answer answer = answers ? ping(window) : Answer::windowGone;
    m_x11->pause(answer == Answer::came ? PAUSE_AFTER_ANSWER : milliseconds);
    const auto alive = m_x11->flush();
    if (answer != Answer::late || !alive)
        return alive;
    return std::unexpected(desktopFailure(TIMED_OUT, u"The application in front does not respond."_s));
}

Settled::Answer Settled::ping(xcb_window_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = m_x11->atom("WM_PROTOCOLS");
    // Programs may take it for a time of the server's: an early one does no harm.
    const std::uint32_t number = (static_cast<std::uint32_t>(getpid()) & 0xffff) << 8 | (++m_pings & 0xff);
    message.data.data32[0] = m_x11->atom("_NET_WM_PING");
    message.data.data32[1] = number;
    message.data.data32[2] = window;
    xcb_send_event(m_x11->connection(), 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char *>(&message));

    Answer answer = Answer::late;
    m_x11->waitFor(PATIENCE_MILLISECONDS, [&] {
        while (const auto event = m_x11->takeEvent()) {
            const auto *reply = reinterpret_cast<const xcb_client_message_event_t *>(event.get());
            if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && reply->type == message.type &&
                reply->data.data32[0] == message.data.data32[0] && reply->data.data32[1] == number)
                answer = Answer::came;
        }
        if (answer != Answer::came && m_x11->numbers(window, "WM_PROTOCOLS").empty())
            answer = Answer::windowGone;
        return answer != Answer::late;
    });
    return answer;
}

} // namespace ombru
