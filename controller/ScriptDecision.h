// What the owner says to a script before it runs. Plain values.
#pragma once
#include "base/Task.h"

#include <QString>

#include <functional>
#include <stop_token>

namespace ombru {

struct ScriptDecision {
    enum class Choice { run, skip, stop };
    Choice choice = Choice::stop;
    QString word = {}; // to the agent about a script that is skipped; may be empty

    bool operator==(const ScriptDecision &) const = default;
};

// Asks about the script that was shown last; ends soon when a stop is asked for, with whatever.
using ScriptQuestion = std::function<Task<ScriptDecision>(std::stop_token stop)>;

} // namespace ombru
