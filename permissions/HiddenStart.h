// Starting an application out of sight, so that the system can judge events to it. Main thread.
#pragma once
#include "base/Task.h"

#include <QString>

#include <stop_token>

namespace ombru {

// Whether it is known here and does not run.
Task<bool> canBeStarted(QString id, std::stop_token stop);

// Starts it and gives it some seconds to run; ends early after a stop. What could not be started is in the system log.
Task<> startHidden(QString id, std::stop_token stop);

} // namespace ombru
