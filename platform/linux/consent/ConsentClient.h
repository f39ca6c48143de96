// Which program's wish a script carries out: whose name stands beside the owner's decision. Read from /proc. Any
// thread.
//
// This tells the owner's programs apart; it is no wall against one that hides on purpose, which as the owner's process
// could work the desktop without osascript as well.
#pragma once
#include "base/Spawn.h"

#include <QString>

#include <optional>

namespace ombru {

// The application itself, and whatever was started by it.
inline constexpr QStringView OMBRU_CLIENT = u"com.ombru.mac";

struct ConsentClient {
    QString id; // OMBRU_CLIENT, or a program's full path
    // Of the application when that is the client: what a script has put into its own environment must not decide where
    // the owner's decisions are kept, nor on which display the owner is asked. None: this process's own.
    std::optional<Environment> environment;
};

// Who has this process run: `ombru` from this program's own directory when it is an ancestor (the outermost counts),
// else the nearest ancestor that is more than a shell or a wrapper, or the outermost of those. The walk ends at a
// process that cannot be looked at; this program stands for itself when it can look at none.
ConsentClient askingClient();

// The same for a process `pid` of the program with the full path `program`; `processes` has the form of /proc.
ConsentClient askingClient(const QString &processes, qint64 pid, const QString &program);

// Whether an `osascript` has this process run, from whatever directory: a copy of this program must not serve a script
// either, nor one behind a shell that nobody may look at. A script may ask the owner, but not decide in the owner's
// place.
bool runsBelowScript();
bool runsBelowScript(const QString &processes, qint64 pid); // as above

} // namespace ombru
