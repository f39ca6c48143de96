// What this computer tells a service about itself. Any thread.
#pragma once
#include <QString>

namespace ombru {

// The name that the owner gave it; empty when it has none.
QString hostName();

// "Linux" or "macOS".
QString systemName();

} // namespace ombru
