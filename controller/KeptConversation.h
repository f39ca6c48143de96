// The conversation with claude that this owner's last task was part of, kept for a later `ombru run --continue`. Main
// thread.
#pragma once
#include "base/Failure.h"

#include <QString>

#include <optional>

namespace ombru {

std::optional<QString> keptConversation();                   // none also for a file that holds no such id
Result<> keepConversation(const std::optional<QString> &id); // none: forgets it

} // namespace ombru
