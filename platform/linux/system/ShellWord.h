// Words for the shell.
#pragma once
#include <QString>

namespace ombru {

// As the owner would type it: one word, whatever it holds.
inline QString forShell(QString text) {
    return u'\'' + text.replace(u'\'', QStringLiteral("'\\''")) + u'\'';
}

} // namespace ombru
