// Everything a script can do to the world outside the interpreter, in facets. The interpreter knows the language and
// the object models; the host knows this computer. One implementation works the real desktop, another one serves the
// tests. A new verb is declared in its facet and written where that is implemented; a new subject is one more facet.
//
// Thread: the interpreter's only thread; every call blocks until it is done. The host owns its facets, which live as
// long as it does. A Failure's code is the AppleScript error number and its description the message without "NAME got
// an error: ".
#pragma once
#include "applescript/host/Applications.h"
#include "applescript/host/Clipboard.h"
#include "applescript/host/Dialogs.h"
#include "applescript/host/Held.h"
#include "applescript/host/Input.h"
#include "applescript/host/Notifications.h"
#include "applescript/host/System.h"
#include "applescript/host/Windows.h"
#include "base/Clock.h"

#include <optional>

namespace ombru::applescript {

class Host {
public:
    virtual ~Host() = default;

    // From now on no operation waits for others beyond that moment, whatever its patience; none: for as long as it
    // takes. What an operation does itself, it does to its end.
    virtual void limitWaits(std::optional<Clock::Time> end) = 0;

    virtual System &system() = 0;
    virtual Dialogs &dialogs() = 0;
    virtual Applications &applications() = 0;

    // What needs the desktop, looked for when it is first asked for: a Failure says that there is none. What could
    // answer a question that is the owner's alone is held, for one operation each.
    virtual Result<const Windows *> windows() = 0; // to look at
    virtual Result<Held<Windows>> windowsToChange() = 0;
    virtual Result<Held<Input>> input() = 0;
    virtual Result<Clipboard *> clipboard() = 0;
    virtual Result<Notifications *> notifications() = 0;
};

} // namespace ombru::applescript
