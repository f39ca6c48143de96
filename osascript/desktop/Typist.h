// Types symbols one after the other. Those that no key has are put on spare keys, as many at a time as fit. One thread.
#pragma once
#include "osascript/desktop/Aim.h"
#include "osascript/desktop/BorrowedKeys.h"
#include "osascript/desktop/Settled.h"

namespace ombru {

class Typist {
public:
    Typist(X11 &x11, Aim &aim, const KeyMap &map)
        : m_x11(&x11), m_aim(&aim), m_map(&map), m_borrowed(x11), m_settled(x11) {}

    Result<> type(const std::vector<xkb_keysym_t> &symbols);

private:
    using Symbol = std::vector<xkb_keysym_t>::const_iterator;

    Result<> borrowFor(const std::vector<xkb_keysym_t> &symbols);
    Result<> typeSome(Symbol &next, Symbol end);
    bool admit(xkb_keysym_t symbol, std::map<xkb_keysym_t, Stroke> &strokes, std::vector<xkb_keysym_t> &foreign);
    static std::vector<Stroke> runOf(const std::map<xkb_keysym_t, Stroke> &strokes, Symbol &next, Symbol stop);
    Result<> press(const std::vector<Stroke> &run);

    X11 *m_x11;
    Aim *m_aim;
    const KeyMap *m_map;
    BorrowedKeys m_borrowed;
    Settled m_settled;
    xcb_keycode_t m_shift = 0;
    xcb_keycode_t m_last = 0;
};

} // namespace ombru
