// The one notification that says what the agent is doing and how a task ended. Main thread; nothing here waits for the
// desktop.
#pragma once
#include "base/Task.h"

#include <QString>

#include <functional>

namespace ombru::Notifier {

inline const QString id = QStringLiteral("ombru.activity");

// Asks, where the system wants that; the answer is not used.
void requestPermission();

// Calls back, later, with whether notifications reach the owner.
void allowed(std::function<void(bool)> completion);

// Shows it in place of the one before. A prominent one appears as a banner, another only in the desktop's list.
void update(const QString &title, const QString &body, bool prominent);

void clear();

// Ends once the last update has reached the desktop or been given up; to be awaited before the program ends.
Task<> delivered();

} // namespace ombru::Notifier
