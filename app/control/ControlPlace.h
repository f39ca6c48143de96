// Where the application that stays is found. Any thread.
#pragma once
#include "base/Failure.h"

#include <QString>

namespace ombru {

// Full path of its socket, in the owner's runtime directory; beside it, with ".lock", the file that the one application
// of this owner holds.
Result<QString> controlSocket();

} // namespace ombru
