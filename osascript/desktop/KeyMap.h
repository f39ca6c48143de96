// The keyboard map of the X server: which key gives which symbol in the first layout, and the keys that are free to
// borrow. One thread.
#pragma once
#include "applescript/host/Input.h"
#include "platform/linux/x11/X11.h"

#include <xkbcommon/xkbcommon.h>

namespace ombru {

// One press of a key, and what must be so around it.
struct Stroke {
    xcb_keycode_t key = 0;
    bool shift = false;
    std::uint8_t locks = 0; // locked modifiers: the number pad gives digits only with Num Lock
};

class KeyMap {
public:
    // As it is now, after the keys of programs that were killed were given back. Keys that others have borrowed count
    // as spare. A Failure when the server has no XKB.
    static Result<KeyMap> read(X11 &x11);

    std::optional<Stroke> strokeFor(xkb_keysym_t symbol) const;
    std::optional<xcb_keycode_t> keyAt(const char *position) const; // XKB's name of the place
    Result<xcb_keycode_t> keyOf(applescript::Modifier modifier) const;

    const std::vector<xcb_keycode_t> &spareKeys() const { return m_spare; } // no symbol in any layout
    const std::vector<xcb_keycode_t> &modifierKeys() const { return m_modifiers; }

private:
    void add(xkb_keymap *map, xcb_keycode_t key);
    void addLevel(xkb_keymap *map, xcb_keycode_t key, xkb_level_index_t level);
    void readModifiers(const X11 &x11);

    struct Unref {
        void operator()(xkb_keymap *map) const { xkb_keymap_unref(map); }
    };
    std::unique_ptr<xkb_keymap, Unref> m_map;
    std::map<xkb_keysym_t, Stroke> m_strokes;
    std::vector<xcb_keycode_t> m_spare;
    std::vector<xcb_keycode_t> m_modifiers;
};

} // namespace ombru
