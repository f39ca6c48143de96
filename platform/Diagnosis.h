// Whether this computer gives a task what it needs, in words for the owner. Main thread; each check really tries, and
// is awaited.
#pragma once
#include "base/Task.h"

#include <QString>

namespace ombru {

struct Check {
    bool works = false;
    QString what;         // what there is, or why it does not work; one sentence
    QString remedy;       // what to do about it; empty when it works
    bool answered = true; // false: it hangs

    bool operator==(const Check &) const = default;
};

Task<Check> screenCheck();       // takes a picture of the screen
Task<Check> inputCheck();        // whether keys and clicks can be sent
Task<Check> notificationCheck(); // whether notifications reach the owner; gives up after some seconds of silence

} // namespace ombru
