// Which of several elements a specifier means: by index, range, middle, chance or all of them. The same for lists, text
// and every class of objects.
#pragma once
#include "applescript/run/Context.h"
#include "applescript/values/Specifier.h"

#include <expected>

namespace ombru::applescript {

// [first, end) of the elements.
struct Stretch {
    std::size_t first = 0;
    std::size_t end = 0;
};

enum class NoStretch {
    outside,  // the index is beyond them
    otherForm // the specifier says something else: a name, an id, a place to insert
};

std::expected<Stretch, NoStretch> stretchOf(const Specifier &part, std::size_t count, Context &context);

} // namespace ombru::applescript
