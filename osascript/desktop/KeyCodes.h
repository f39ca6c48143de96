// macOS's virtual key codes, as the keys of this system. Pure, any thread.
#pragma once
#include <optional>
#include <xkbcommon/xkbcommon.h>

namespace ombru {

// Either a place on the keyboard, whatever the layout puts there, or what the key is for.
struct Key {
    const char *position = nullptr;         // XKB's name of the place, "AC01"; or
    xkb_keysym_t symbol = XKB_KEY_NoSymbol; // the symbol
};

std::optional<Key> keyForCode(int code);

} // namespace ombru
