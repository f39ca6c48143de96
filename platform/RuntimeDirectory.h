// Where this owner's programs meet while they run: sockets and locks that no other user can reach. Any thread.
#pragma once
#include "base/Failure.h"

#include <QString>

namespace ombru {

// Full path; made when it is not there, for its owner alone. The same for every program of the owner's, also for those
// that were started outside of the desktop's session. A Failure (domain "runtime") when what is there is not the
// owner's own.
Result<QString> runtimeDirectory();

} // namespace ombru
