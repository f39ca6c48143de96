// The command line of the `osascript` tool, as a function over a Host: what to run (-e lines, a file, or standard
// input), how to write the result (-s), and the script's own arguments. An executable is this plus a real Host.
//
// Thread: blocks the calling thread until the script has ended. The streams must be open; nothing is kept of them.
#pragma once
#include <QStringList>

class QIODevice;

namespace ombru::applescript {

class Host;

// `arguments` are those after the program's name. The result of the script and a line end go to `out`; an error goes to
// `err` as `start:end: execution error: message (number)` or `start:end: syntax error: message (number)`, positions
// in characters of the script. What the script logs goes to the host's log. Returns the exit status: 0, or 1 after any
// error (also a wrong option).
int runOsascript(const QStringList &arguments, QIODevice &in, QIODevice &out, QIODevice &err, Host &host);

} // namespace ombru::applescript
