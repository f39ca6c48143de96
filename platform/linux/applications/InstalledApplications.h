// The applications of this desktop as they are now.
#pragma once
#include "platform/linux/applications/Applications.h"

#include <memory>

namespace ombru {

// Those that are installed now: read again when something was installed, changed or removed. Any thread.
std::shared_ptr<const Applications> installedApplications();

} // namespace ombru
