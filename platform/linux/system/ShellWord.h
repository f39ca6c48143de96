// Words for the shell. GLib, which QtCore brings along, quotes the same way (g_shell_quote), but calling it is longer.
#pragma once
#include <QString>

namespace ombru {

// As the owner would type it: one word, whatever it holds.
inline QString forShell(QString text) {
    return u'\'' + text.replace(u'\'', QStringLiteral("'\\''")) + u'\'';
}

} // namespace ombru
