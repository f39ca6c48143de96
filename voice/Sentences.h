// An answer in the pieces in which it is spoken. Pure.
#pragma once
#include <QStringList>

namespace ombru {

// A sentence ends after each ".", "!", "?" or line feed, wherever that stands ("3.5" is two pieces); what follows the
// last one is the last piece. Without white space around them; none is empty.
QStringList sentencesOf(const QString &text);

} // namespace ombru
