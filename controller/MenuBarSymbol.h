// Which symbol stands for the application in the menu bar. Pure; any thread.
#pragma once
#include <QString>

namespace ombru {

struct MenuBarState {
    bool inCall = false;
    bool busy = false;
    bool signedIn = false;
    bool reachable = false; // the service answers, or the web channel is open
    bool listening = false; // the call server takes calls
    bool missingPermissions = false;
};

// Its name, as the system that has a set of symbols calls it.
QString menuBarSymbol(const MenuBarState &state);

} // namespace ombru
