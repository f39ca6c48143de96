// How a task ended. A plain value.
#pragma once
#include "permissions/AppAutomation.h"

#include <QList>
#include <QString>

namespace ombru {

struct TaskResult {
    enum class Outcome {
        done,     // the agent says that it is
        answered, // the agent has said something else: it asks, or could not
        outOfSteps,
        cancelled,
        failed,
        desktopInUse,
    };
    Outcome outcome = Outcome::answered;
    QString answer;                            // for whoever asked
    bool scriptRefused = false;                // the system did not let a script control an application
    QList<AppAutomation::Target> blocked = {}; // the applications that its scripts were refused, each once

    bool operator==(const TaskResult &) const = default;
};

} // namespace ombru
