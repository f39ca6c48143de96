// Where the owner's session bus is. Any thread.
#pragma once
#include <QString>

namespace ombru {

// Empty when there is none. Never the address of one that the bus library would start by itself.
QString sessionBusAddress();

} // namespace ombru
