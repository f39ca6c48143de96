// Types symbols one after the other. Those that no key has are put on spare keys, as many at a time as fit. One thread.
#pragma once
#include "osascript/desktop/Aim.h"
#include "osascript/desktop/BorrowedKeys.h"
#include "osascript/desktop/Settled.h"

namespace ombru {

class Typist {
public:
    using Symbol = std::vector<xkb_keysym_t>::const_iterator;

    // `isRestWanted` says that it shall type no further for now.
    Typist(X11 &x11, Aim &aim, const KeyMap &map, std::function<bool()> isRestWanted)
        : m_x11(&x11), m_aim(&aim), m_map(&map), m_isRestWanted(std::move(isRestWanted)), m_borrowed(x11),
          m_settled(x11) {}

    // Up to the end, or a rest; `next` is what comes then.
    Result<> type(Symbol &next, Symbol end);

private:
    Result<> borrowFor(Symbol begin, Symbol end);
    Result<> typeSome(Symbol &next, Symbol end);
    bool admit(xkb_keysym_t symbol, std::map<xkb_keysym_t, Stroke> &strokes, std::vector<xkb_keysym_t> &foreign);
    static std::vector<Stroke> runOf(const std::map<xkb_keysym_t, Stroke> &strokes, Symbol &next, Symbol stop);
    Result<> press(const std::vector<Stroke> &run);

    X11 *m_x11;
    Aim *m_aim;
    const KeyMap *m_map;
    std::function<bool()> m_isRestWanted;
    BorrowedKeys m_borrowed;
    Settled m_settled;
    xcb_keycode_t m_shift = 0;
    xcb_keycode_t m_last = 0;
};

} // namespace ombru
