#include "applescript/Osascript.h"

#include "applescript/Host.h"

#include <QIODevice>

namespace ombru::applescript {

int runOsascript(const QStringList &, QIODevice &, QIODevice &, QIODevice &err, Host &) {
    err.write("osascript: this build has no interpreter yet\n");
    return 1;
}

} // namespace ombru::applescript
