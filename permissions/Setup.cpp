#include "permissions/Setup.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

bool isGranted(const PermissionStates &states, const QString &id) {
    const auto found = states.find(id);
    return found != states.end() && *found == State::granted;
}

template <class... Kinds>
bool isOneOf(const Claude::State &claude) {
    return (std::holds_alternative<Kinds>(claude) || ...);
}

Setup permissionSetup(const PermissionStates &states, bool askedScreen) {
    const bool seesScreen = isGranted(states, u"screen"_s);
    if (states.isEmpty())
        return Setup::checking;
    if (!isGranted(states, u"accessibility"_s) || (!seesScreen && !askedScreen))
        return Setup::allow;
    // An absent one has not been looked at and can still be asked for; a missing one was refused.
    if (states.value(u"automation"_s, State::unknown) == State::missing)
        return Setup::denied;
    if (!isGranted(states, u"automation"_s))
        return Setup::allow;
    return seesScreen ? Setup::done : Setup::restart;
}

} // namespace

Setup setup(const Claude::State &claude, const PermissionStates &states, bool askedScreen) {
    if (isOneOf<Claude::Unknown>(claude))
        return Setup::checking;
    if (isOneOf<Claude::Missing, Claude::Outdated>(claude))
        return Setup::installClaude;
    if (isOneOf<Claude::SignedOut>(claude))
        return Setup::signInClaude;
    return permissionSetup(states, askedScreen);
}

bool missingPermissions(const Claude::State &claude, const PermissionStates &states) {
    if (!isOneOf<Claude::Ready, Claude::Unknown>(claude))
        return true;
    return std::ranges::any_of(Permissions::all, [&](const Permission &permission) {
        return permission.required && !isGranted(states, permission.id);
    });
}

QString setupName(Setup setup) {
    switch (setup) {
    case Setup::checking:
        return u"checking"_s;
    case Setup::installClaude:
        return u"installClaude"_s;
    case Setup::signInClaude:
        return u"signInClaude"_s;
    case Setup::allow:
        return u"allow"_s;
    case Setup::restart:
        return u"restart"_s;
    case Setup::denied:
        return u"denied"_s;
    case Setup::done:
        return u"done"_s;
    }
    Q_UNREACHABLE();
}

QString setupText(Setup setup, bool prompting) {
    switch (setup) {
    case Setup::checking:
        return u"Checking permissions…"_s;
    case Setup::installClaude:
        return u"Claude Code isn't installed"_s;
    case Setup::signInClaude:
        return u"Sign in to Claude Code"_s;
    case Setup::allow:
        return prompting ? u"Answer the prompts…"_s : u"Allow permissions"_s;
    case Setup::restart:
        return u"Restart ombru to finish"_s;
    case Setup::denied:
        return u"AppleScript was denied"_s;
    case Setup::done:
        return u"Full control is on"_s;
    }
    Q_UNREACHABLE();
}

} // namespace ombru
