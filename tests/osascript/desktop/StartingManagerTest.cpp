// A display whose window manager has only just started, or takes its time.

#include "tests/support/DesktopModule.h"
#include "tests/support/XServer.h"

#include <atomic>
#include <thread>
#include <xcb/xcb.h>

using namespace ombru;
using namespace ombru::test;

namespace {

// Announces itself and manages nothing. Answers no question about frames but from the `answers`-th on.
class SlowManager {
public:
    explicit SlowManager(int answers) : m_answers(answers) {
        const std::uint32_t listen = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, root(), XCB_CW_EVENT_MASK, &listen);
        const auto check = makeWindow(0);
        set(check, "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW, {check});
        focus(check);
        set(root(), "_NET_SUPPORTED", XCB_ATOM_ATOM, {atom("_NET_REQUEST_FRAME_EXTENTS")});
        set(root(), "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW, {check});
        m_thread = std::jthread([this](const std::stop_token &stop) { serve(stop); });
    }
    ~SlowManager() {
        m_thread.request_stop();
        m_thread.join();
        if (m_handOver.joinable())
            m_handOver.join();
        xcb_disconnect(m_connection);
    }
    SlowManager(const SlowManager &) = delete;
    SlowManager &operator=(const SlowManager &) = delete;

    int asked() const { return m_asked; }

    // A window that gets keys, said to be the active one while the manager keeps the keyboard.
    xcb_window_t activate() {
        const auto window = makeWindow(XCB_EVENT_MASK_KEY_PRESS);
        set(root(), "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, {window});
        return window;
    }

    void handOverLater(xcb_window_t window) {
        m_handOver = std::jthread([this, window] {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            focus(window);
        });
    }

    int keys() const { return m_keys; }

private:
    xcb_window_t root() const { return xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root; }

    // Not managed, and on the screen.
    xcb_window_t makeWindow(std::uint32_t events) {
        const auto window = xcb_generate_id(m_connection);
        const std::uint32_t values[] = {1, events};
        xcb_create_window(m_connection, 0, window, root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
        xcb_map_window(m_connection, window);
        return window;
    }

    void focus(xcb_window_t window) {
        xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_NONE, window, XCB_CURRENT_TIME);
        xcb_flush(m_connection);
    }

    xcb_atom_t atom(const QByteArray &name) {
        const auto cookie = xcb_intern_atom(m_connection, 0, std::uint16_t(name.size()), name.constData());
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(m_connection, cookie, nullptr), &std::free);
        return reply ? reply->atom : XCB_ATOM_NONE;
    }

    void set(xcb_window_t window, const char *property, xcb_atom_t type, std::vector<std::uint32_t> values) {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom(property), type, 32,
                            std::uint32_t(values.size()), values.data());
        xcb_flush(m_connection);
    }

    void serve(const std::stop_token &stop) {
        const auto question = atom("_NET_REQUEST_FRAME_EXTENTS");
        while (!stop.stop_requested()) {
            const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(xcb_poll_for_event(m_connection),
                                                                                   &std::free);
            if (!event) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                continue;
            }
            if ((event->response_type & 0x7f) == XCB_KEY_PRESS)
                ++m_keys;
            const auto *message = reinterpret_cast<const xcb_client_message_event_t *>(event.get());
            const bool asks = (event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && message->type == question;
            if (asks && ++m_asked >= m_answers)
                set(message->window, "_NET_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {0, 0, 0, 0});
        }
    }

    xcb_connection_t *m_connection = xcb_connect(nullptr, nullptr);
    const int m_answers;
    std::atomic<int> m_asked = 0;
    std::atomic<int> m_keys = 0;
    std::jthread m_thread;
    std::jthread m_handOver;
};

} // namespace

TEST(StartingManager, IsAskedAgainWhenItMissedTheQuestion) {
    const XServer server("640x480x24");
    const SlowManager manager(2);
    const auto desktop = openDesktop();
    const auto windows = desktop->taskbar().windows();
    ASSERT_TRUE(windows) << windows.error().description.toStdString();
    EXPECT_TRUE(windows->empty());
    EXPECT_EQ(manager.asked(), 2);
}

TEST(StartingManager, IsNotWaitedForWhenTheTimeOfAnEventIsOver) {
    const XServer server("640x480x24");
    const SlowManager manager(2);
    WaitLimit limit;
    limit.set(Clock::now());
    const auto desktop = openDesktop(limit);
    const auto windows = desktop->taskbar().windows();
    ASSERT_FALSE(windows);
    EXPECT_EQ(windows.error().code, -1712);
    limit.set({});
    EXPECT_TRUE(desktop->taskbar().windows());
    EXPECT_EQ(manager.asked(), 2) << "one question each time";
}

TEST(StartingManager, GetsNoneOfTheKeysForTheWindowThatItNamesFirst) {
    const XServer server("640x480x24");
    SlowManager manager(1);
    const auto desktop = openDesktop();
    manager.handOverLater(manager.activate());
    ASSERT_TRUE(desktop->input().type(QStringLiteral("abcd"), 0));
    EXPECT_TRUE(waitUntil([&] { return manager.keys() >= 4; })) << manager.keys();
}

TEST(StartingManager, MayKeepTheKeyboard) {
    const XServer server("640x480x24");
    SlowManager manager(1);
    const auto desktop = openDesktop();
    manager.activate();
    EXPECT_TRUE(desktop->input().type(QStringLiteral("abcd"), 0));
    EXPECT_EQ(manager.keys(), 0);
}
