// How a tool of the loop fails: with words that are the same on every system, and beside them what is so on this one.
// Plain values, any thread.
#pragma once
#include "base/Failure.h"

namespace ombru {

struct ToolFailure : Failure {
    QString cause = {}; // why, and what to do, for the owner alone; empty where the description says it
};

} // namespace ombru
