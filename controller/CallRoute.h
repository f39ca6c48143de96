// What becomes of a request that somebody speaks or types into a call. Pure.
#pragma once
#include <QString>

namespace ombru {

enum class CallRoute {
    start,  // it is a task
    stop,   // the running task is to end
    idle,   // it is to end, and none runs
    refuse, // another one runs
};

// A stop word counts whatever its case and its punctuation, but only when nothing else is said.
CallRoute routeOf(const QString &text, bool busy);

} // namespace ombru
