// Where the keys of a combination are on the keyboard of an X server, which may have each more than once. Main thread
// or any other, as the connection; blocks while the server answers.
#pragma once
#include "base/KeyCombination.h"
#include "platform/linux/x11/Display.h"

#include <bitset>
#include <vector>

namespace ombru {

using KeyCodes = std::bitset<256>;

struct KeyPlaces {
    KeyCodes key;
    std::vector<KeyCodes> modifiers; // one of each has to be held
    std::uint16_t mask = 0;          // the same as the server has it in a key's state

    bool areHeld(const KeyCodes &held) const;
};

// None when the keyboard lacks one of them, or the server does not answer. In whichever layout a key has the symbol.
std::optional<KeyPlaces> placesOf(const Display &display, const KeyCombination &keys);

} // namespace ombru
