// The keyboard map of the X server: which key gives which symbol in the first layout, and the keys that are free to
// borrow. One thread.
#pragma once
#include "platform/linux/desktop/X11.h"

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
    // As it is now. A Failure when the server has no XKB.
    static Result<KeyMap> read(const X11 &x11);

    std::optional<Stroke> strokeFor(xkb_keysym_t symbol) const;
    std::optional<xcb_keycode_t> keyAt(const char *position) const; // XKB's name of the place

    const std::vector<xcb_keycode_t> &spareKeys() const { return m_spare; } // they have no symbol in any layout
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

// Symbols on spare keys, for as long as the object lives. Two symbols fit on a key: the second comes with Shift.
class BorrowedKeys {
public:
    BorrowedKeys(const X11 &x11, std::vector<xcb_keycode_t> spare) : m_x11(&x11), m_spare(std::move(spare)) {}
    ~BorrowedKeys();
    BorrowedKeys(const BorrowedKeys &) = delete;
    BorrowedKeys &operator=(const BorrowedKeys &) = delete;

    std::size_t capacity() const { return m_spare.size() * 2; }
    std::size_t used() const { return m_used; } // keys that have symbols now

    // Replaces what was there; at most `capacity()` symbols.
    void bind(const std::vector<xkb_keysym_t> &symbols);
    Stroke stroke(std::size_t index) const { return {m_spare[index / 2], index % 2 == 1, 0}; }

private:
    void write(std::size_t key, xkb_keysym_t plain, xkb_keysym_t shifted);

    const X11 *m_x11;
    std::vector<xcb_keycode_t> m_spare;
    std::size_t m_used = 0;
};

} // namespace ombru
