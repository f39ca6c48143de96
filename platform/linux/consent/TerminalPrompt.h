// Asks the owner on the terminal that this program was started from, where there is no display for a window, also not
// above it: see DisplayAbove.h. Any thread but the main one: blocks until there is a line, for ten minutes at most.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

// Whether the owner typed "yes", in full, after the question was shown: what was typed before is thrown away, and no
// script types meanwhile, for which `database` says where the lock is. None when nobody is there: no terminal, or this
// program is not in front of it, or no line in time.
std::optional<bool> askAtTerminal(const QString &question, const QString &database);

} // namespace ombru
