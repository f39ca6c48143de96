#include "controller/MenuBarSymbol.h"

namespace ombru {

using namespace Qt::StringLiterals;

QString menuBarSymbol(const MenuBarState &state) {
    if (state.inCall)
        return state.busy ? u"phone.connection.fill"_s : u"phone.fill"_s;
    if (state.signedIn && state.reachable && state.listening)
        return state.missingPermissions ? u"phone.badge.exclamationmark"_s : u"phone"_s;
    return u"phone.down"_s;
}

} // namespace ombru
