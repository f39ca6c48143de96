// How a task ended, as it passes the door. Pure.
#pragma once
#include "controller/TaskResult.h"

#include <QJsonObject>

#include <optional>

namespace ombru {

// {"ended": {"outcome": "done", "scriptRefused": false, "blocked": [{"id": "...", "name": "..."}]}}. The answer has
// gone before, as an event.
QJsonObject taskReport(const TaskResult &result);
std::optional<TaskResult> reportedResult(const QJsonObject &line); // none for another kind of line

} // namespace ombru
