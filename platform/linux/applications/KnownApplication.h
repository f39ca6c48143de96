// An application that this desktop has: one that is installed, or System Events. Values and look-ups; any thread, but
// the look-ups read files, so not the main one of the application.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

struct KnownApplication {
    QString id;   // the desktop's own, whatever it was asked for by
    QString name; // as menus show it
    QString path; // its desktop entry; empty for System Events
};

// By the desktop's identifier or by one that macOS has for what does the same job here, in any case.
std::optional<KnownApplication> knownApplication(const QString &id);

// By name, as scripts and the owner say it: the one way from a name to an identifier.
std::optional<KnownApplication> knownApplicationNamed(const QString &name);

} // namespace ombru
