// One application a user. Any thread.
#pragma once
#include "base/Descriptor.h"
#include "base/Failure.h"

#include <optional>

namespace ombru {

// The lock beside that socket, which the system takes back when the process ends, however that ends. None: another
// process has it. A Failure (domain "door") when it cannot be made.
Result<std::optional<Descriptor>> lockInstance(const QString &socket);

} // namespace ombru
