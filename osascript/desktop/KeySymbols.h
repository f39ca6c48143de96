// The symbols of a range of keys as the X server has them, to be changed in one request: each one makes every program
// read the whole map again. One thread.
#pragma once
#include "platform/linux/x11/X11.h"

#include <QByteArray>

#include <xkbcommon/xkbcommon.h>

namespace ombru {

// What a key gives, alone and with Shift; no symbols: the key is empty.
struct KeySymbols {
    xcb_keycode_t key = 0;
    xkb_keysym_t plain = XKB_KEY_NoSymbol;
    xkb_keysym_t shifted = XKB_KEY_NoSymbol;

    bool operator==(const KeySymbols &) const = default;
};

class SymbolTable {
public:
    // Of the keys first to last. None when the server does not say.
    static std::optional<SymbolTable> read(const X11 &x11, xcb_keycode_t first, xcb_keycode_t last);

    // For keys in the range. Other layouts, and levels beyond Shift, do not show.
    KeySymbols at(xcb_keycode_t key) const;
    bool isEmpty(xcb_keycode_t key) const; // in every layout and level
    void put(const KeySymbols &symbols);

    // Sends what was put, without waiting. The caller has grabbed the server since it read.
    void write(const X11 &x11) const;

private:
    struct Part {
        xcb_keycode_t first = 0;
        std::size_t count = 0;
    };
    std::vector<Part> parts() const;
    bool isTheSameEverywhere(const X11 &x11, std::uint16_t device) const;

    std::uint8_t m_least = 0; // key codes of the whole keyboard
    std::uint8_t m_most = 0;
    bool m_together = false; // neighbours may be sent along
    xcb_keycode_t m_first = 0;
    std::vector<QByteArray> m_keys; // as the protocol has them
    std::vector<xcb_keycode_t> m_changed;
};

} // namespace ombru
