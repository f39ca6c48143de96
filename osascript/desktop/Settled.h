// Waits until the program that has the focus has taken in all events sent to it so far. Programs read the keyboard map
// when they get to a key, not when it was pressed, so the map must not change before. One thread.
#pragma once
#include "platform/linux/x11/X11.h"

namespace ombru {

// What programs that cannot say how far they are get: time to read a new map, to work off what was typed, and to notice
// a shortcut.
constexpr int READ_MAP_MILLISECONDS = 50;
constexpr int WORK_OFF_MILLISECONDS = 300;
constexpr int NOTICE_MILLISECONDS = 50;

class Settled {
public:
    explicit Settled(X11 &x11);

    // Asks the program (_NET_WM_PING) where it can answer, else waits that long. A Failure when it does not respond.
    Result<> wait(int milliseconds);

private:
    enum class Answer { came, late, windowGone };
    Answer ping(xcb_window_t window);

    X11 *m_x11;
    std::uint32_t m_pings = 0;
};

} // namespace ombru
