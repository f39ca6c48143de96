// Whether this program may send events to another application. Any thread but the main one: blocks while the system
// answers, and with `ask` until the owner has answered its prompt.
#pragma once
#include <QStringList>

#include <cstdint>
#include <vector>

namespace ombru {

// What determineAutomation() answers; a system may have further codes.
constexpr std::int32_t AUTOMATION_ALLOWED = 0;
constexpr std::int32_t AUTOMATION_BAD_TARGET = -50; // no application could have this identifier
constexpr std::int32_t AUTOMATION_NOT_RUNNING = -600;
constexpr std::int32_t AUTOMATION_REFUSED = -1743;
constexpr std::int32_t AUTOMATION_UNDECIDED = -1744; // the owner would have to be asked

// For the application with that identifier. An application that does not run gives AUTOMATION_NOT_RUNNING, whatever the
// owner has decided. The owner is asked only when `ask` is true and nothing has been decided yet.
std::int32_t determineAutomation(const QString &id, bool ask);

// The same for each of these without asking the owner, by one look at what runs.
std::vector<std::int32_t> determineAutomation(const QStringList &ids);

} // namespace ombru
