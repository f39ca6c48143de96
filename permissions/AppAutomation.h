// Whether this program may send events to the applications that scripts address, one by one, and asking the owner for
// it. Stateless operations; those that return a Task are for the main thread, the others block and are not, but where
// they say so.
#pragma once
#include "base/Task.h"
#include "permissions/Permission.h"
#include "platform/AppleEvents.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <stop_token>
#include <vector>

namespace ombru {

struct AutomationApp {
    QString id;
    QString name; // for the owner

    bool operator==(const AutomationApp &) const = default;
};

namespace AppAutomation {

struct Target {
    QString id;
    QString name;

    bool operator==(const Target &) const = default;
};
size_t qHash(const Target &target, size_t seed = 0);

struct Refusal {
    Target target;
    bool denied = false; // the owner refused; otherwise nothing has been decided yet

    bool operator==(const Refusal &) const = default;
};

constexpr Clock::Duration NAME_LIMIT = std::chrono::seconds(5); // for the tool to tell an application's identifier

// The applications that scripts usually address, in the order in which they are listed.
extern const std::vector<AutomationApp> candidates;

// Reading the owner's decisions -----------------------------------------------------------------------------------

// The candidates that this computer has, in order.
std::vector<AutomationApp> installed();

// The system's code; see platform/AppleEvents.h.
std::int32_t determine(const QString &id, bool ask);

// Whether the owner allows each application that there is a decision about. None when the record cannot be read, which
// is usual where the system keeps it to itself.
std::optional<QMap<QString, bool>> tccDecisions();

// Of each installed candidate: what is recorded, or else what the system says without asking.
PermissionStates states();

// As the desktop shows it; none when no such application is known.
std::optional<QString> displayName(const QString &id);

// What the owner types to be asked about it, by the name that they know where it has one.
QString allowingCommand(const QString &id, const QString &name);

// Asking for it ---------------------------------------------------------------------------------------------------

// Shows the system's prompt for one application, which is started out of sight when it does not run. Unknown after a
// stop and when the owner does not answer.
Task<Permission::State> request(QString id, std::stop_token stop = {});

// Opens the settings where the owner changes a decision. Main thread; returns at once.
void openSettings();

// Looking at a script ---------------------------------------------------------------------------------------------

// What scripts call applications: `application id "..."` and `application "..."`, each once, in order of appearance.
struct Mentions {
    QStringList ids;
    QStringList names;

    bool operator==(const Mentions &) const = default;
};
Mentions mentions(const QString &script); // pure; any thread

// The identifier of the application of that name, as the script tool tells it.
Task<std::optional<QString>> bundleID(QString name, std::stop_token stop = {});

// The applications that the script addresses, each once: those given by identifier, then those given by name. A name
// that no application has is left out.
Task<std::vector<Target>> targets(QString script, std::stop_token stop = {});

// Those of them that the owner has not allowed. One that does not run is started out of sight first. After a stop the
// list means nothing.
Task<std::vector<Refusal>> notAllowed(QString script, std::stop_token stop = {});

} // namespace AppAutomation

} // namespace ombru
