// Windows that keys, clicks and changes may be meant for, and a desktop module that is told which of them are refused.
// For tests in a private desktop; one thread.
#pragma once
#include "platform/linux/x11/Display.h"
#include "tests/support/DesktopModule.h"

#include <atomic>

namespace ombru::test {

using namespace Qt::StringLiterals;

inline const Failure REFUSED{u"consent"_s, -1743, u"the owner's answer"_s};
class Aim : public testing::Test {
protected:
    // A window that notes what reaches it.
    struct Target {
        QString file;
        DesktopWindow window;
        std::unique_ptr<Companion> program;

        QByteArray text() const { return contents(file); }
        QByteArray events() const { return contents(file + u".events"_s); }
        QPoint middle() const { return window.position + QPoint(window.size.width(), window.size.height()) / 2; }
    };

    Target target() {
        const auto title = u"target-%1."_s.arg(++number);
        const auto file = scratch.path(title);
        Target made;
        made.file = file;
        made.program = startProgram(
            "'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" + file.toUtf8() + "' " + title.toUtf8(), "ours");
        made.window = focusWindow(*desktop, title);
        const auto listens = [&] { return QFile::exists(file + u".events"_s); };
        EXPECT_TRUE(waitUntil(listens));
        return made;
    }
    static void focus(Desktop &by, const Target &made) {
        const auto active = by.taskbar().activateWindow(made.window.handle);
        EXPECT_TRUE(active) << words(active);
    }
    void refuse(const Target &made) { refused = made.window.pid; }
    static void expectRefused(const Result<> &result) {
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, -1743) << words(result);
    }

    static inline int number = 0;
    Scratch scratch;
    std::atomic<qint64> refused = -1; // the process whose windows may not be reached
    QString refusedClass;             // or those that call themselves that
    std::atomic<int> asked = 0;       // how often
    qint64 watched = -1;              // the process whose windows are looked at
    int looks = 0;                    // how often before that happens
    std::function<void()> afterLooks; // between the last look and what is sent
    std::unique_ptr<Desktop> desktop = openDesktop(UNLIMITED, [this](const DesktopWindow &window) {
        ++asked;
        if (window.pid == watched && --looks == 0)
            afterLooks();
        const bool may =
            window.pid != refused &&
            (refusedClass.isEmpty() || (window.className != refusedClass && window.instance != refusedClass));
        return may ? Result<>() : std::unexpected(REFUSED);
    });
};

// By its title and its class.
inline void callItself(const Display &display, xcb_window_t window, const QByteArray &name) {
    const auto set = [&](xcb_atom_t property, const QByteArray &text) {
        xcb_change_property(display.connection(), XCB_PROP_MODE_REPLACE, window, property, XCB_ATOM_STRING, 8,
                            std::uint32_t(text.size()), text.constData());
    };
    set(XCB_ATOM_WM_NAME, name);
    set(XCB_ATOM_WM_CLASS, name.toLower() + '\0' + name + '\0');
}

// A window past the window manager, as a menu is, of this very process; or in another one, as a part of it.
class Menu {
public:
    explicit Menu(QRect place, std::uint64_t within = 0, const QByteArray &name = {}) {
        const std::uint32_t past = 1;
        const auto parent = within ? xcb_window_t(within) : m_display->screen().root;
        xcb_create_window(m_display->connection(), XCB_COPY_FROM_PARENT, m_window, parent, std::int16_t(place.x()),
                          std::int16_t(place.y()), std::uint16_t(place.width()), std::uint16_t(place.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &past);
        if (!name.isEmpty())
            callItself(*m_display, m_window, name);
        xcb_map_window(m_display->connection(), m_window);
        done();
    }
    ~Menu() {
        xcb_destroy_window(m_display->connection(), m_window);
        done();
    }
    Menu(const Menu &) = delete;
    Menu &operator=(const Menu &) = delete;

    xcb_window_t window() const { return m_window; }
    void takeKeys() const {
        xcb_set_input_focus(m_display->connection(), XCB_INPUT_FOCUS_PARENT, m_window, XCB_CURRENT_TIME);
        done();
    }

private:
    void done() const {
        Reply<xcb_get_input_focus_reply_t>(
            xcb_get_input_focus_reply(m_display->connection(), xcb_get_input_focus(m_display->connection()), nullptr));
    }

    Result<Display> m_display = Display::open();
    xcb_window_t m_window = xcb_generate_id(m_display->connection());
};

// A window of this very process that the window manager knows under that name.
class Managed {
public:
    explicit Managed(const QByteArray &name) {
        auto *connection = m_display->connection();
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, m_display->screen().root, 0, 0, 200, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        callItself(*m_display, m_window, name);
        xcb_map_window(connection, m_window);
        xcb_flush(connection);
    }

private:
    Result<Display> m_display = Display::open();
    xcb_window_t m_window = xcb_generate_id(m_display->connection());
};

} // namespace ombru::test
