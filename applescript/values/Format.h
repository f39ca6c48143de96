// Values as text: as the tool prints them, as source that compiles again, and numbers and dates in the language's own
// form.
//
// Pure, any thread.
#pragma once
#include "applescript/values/Value.h"

namespace ombru::applescript {

// 12, 0.333333333333, 1.0E+10
QString formatReal(double number);

// Friday, November 20, 2026 at 11:29:52 PM
QString formatDate(const QDateTime &time);
QString formatDay(const QDateTime &time);  // Friday, November 20, 2026
QString formatTime(const QDateTime &time); // 11:29:52 PM

// As the tool prints a result: text bare, lists flattened.
QString formatPlain(const Value &value);

// As source: text quoted, lists in braces.
QString formatSource(const Value &value);

// A reference as messages write it: without the application it belongs to.
QString formatReference(const Specifier &specifier, bool withApplication, bool quoted = true);

// "/Users/me/a.txt" as "Macintosh HD:Users:me:a.txt" and back.
QString toColonPath(const QString &posix);
QString fromColonPath(const QString &path);

} // namespace ombru::applescript
