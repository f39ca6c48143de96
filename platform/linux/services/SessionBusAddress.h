// Where the owner's session bus is. Any thread. Not left to the bus libraries, each of which looks elsewhere when the
// environment does not say; nor to QStandardPaths, which makes a directory in /tmp where there is none.
#pragma once
#include <QString>

namespace ombru {

// Empty when there is none. Never the address of one that the bus library would start by itself.
QString sessionBusAddress();

// The directory where its socket is, or would be; empty where the address is none of a file.
QString sessionBusDirectory();

} // namespace ombru
