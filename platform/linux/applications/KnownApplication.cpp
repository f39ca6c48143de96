#include "platform/linux/applications/KnownApplication.h"

#include "base/SystemEvents.h"
#include "platform/linux/applications/InstalledApplications.h"

namespace ombru {

namespace {

std::optional<KnownApplication> known(const DesktopEntry *entry) {
    return entry ? std::optional(KnownApplication{entry->id, entry->name, entry->path}) : std::nullopt;
}

KnownApplication systemEvents() {
    return {SYSTEM_EVENTS_ID.toString(), SYSTEM_EVENTS_NAME.toString(), {}};
}

} // namespace

// No entry can take the place of System Events: what it may do is what the owner fears most.
std::optional<KnownApplication> knownApplication(const QString &id) {
    return isSystemEvents(id) ? systemEvents() : known(installedApplications()->withId(id));
}

std::optional<KnownApplication> knownApplicationNamed(const QString &name) {
    return isSystemEventsName(name) ? systemEvents() : known(installedApplications()->named(name));
}

} // namespace ombru
