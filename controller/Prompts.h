// What the agent is told besides the task.
#pragma once
#include <QString>

namespace ombru {

extern const QString FALLBACK_PROMPT; // the built-in system prompt
extern const QString PHONE_NOTE;      // appended to a task whose answer will be spoken; begins with a line break

// The service's prompt when it sent one, else the last one it sent, else the built-in one.
QString chooseSystemPrompt(const QString &fromService, const QString &cached);

} // namespace ombru
