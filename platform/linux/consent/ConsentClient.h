// Which program's wish a script carries out: whose name stands beside the owner's decision. Read from /proc. Any
// thread.
//
// This tells the owner's programs apart; it is no wall against one that hides on purpose, which as the owner's process
// could work the desktop without osascript as well.
#pragma once
#include "base/Spawn.h"
#include "platform/linux/consent/OwnPrograms.h"

#include <functional>
#include <optional>

namespace ombru {

// The application itself, and whatever was started by it.
inline constexpr QStringView OMBRU_CLIENT = u"com.ombru.mac";

struct ConsentClient {
    QString id; // OMBRU_CLIENT, or a program's full path
    // Of the application when that is the client: what a script has put into its own environment must not decide where
    // the owner's decisions are kept, nor on which display the owner is asked. None: this process's own.
    std::optional<Environment> environment;
    // False below the application without its mark: then nothing is allowed, and nobody is asked.
    bool mayBeAllowed = true;
};

// Who has this process run. Below the application it is the application: with what the owner allowed it, if this
// process has inherited the mark of an `ombru` above it that is proven and stands below no other and no script; else
// with what the owner refused it, and nothing more. Elsewhere it is the nearest ancestor that is more than a shell or a
// wrapper, or the outermost of those, up to one that cannot be looked at; or this program itself, when it can look at
// none.
ConsentClient askingClient();

// What that is found from.
struct ClientSurroundings {
    QString processes; // in the form of /proc
    qint64 pid = 0;
    QString program; // its full path
    std::optional<qint64> markMaker;
    std::function<Kinship(const QString &process)> kinship;
};
ConsentClient askingClient(const ClientSurroundings &here);

// Whether an `osascript` or an `ombru` has this process run, from whatever directory: a copy of this program must not
// serve a script either, nor one behind a shell that nobody may look at; or whether it was put into a namespace, from
// which nobody can tell. A script may ask the owner, but not decide in the owner's place.
bool mayServeAScript();
bool mayServeAScript(const QString &processes, qint64 pid); // as above

} // namespace ombru
