// Text as the symbols of keys. Pure, any thread.
#pragma once
#include "base/Failure.h"

#include <vector>
#include <xkbcommon/xkbcommon.h>

namespace ombru {

// Line ends are Return; tab, escape, backspace, delete and the arrows (28 to 31, as on macOS) are their keys. A Failure
// for any other control character.
Result<std::vector<xkb_keysym_t>> symbolsOf(const QString &text);

// The symbol of a character as every program understands it when it is on no key of the map.
xkb_keysym_t borrowedSymbol(xkb_keysym_t symbol);

} // namespace ombru
