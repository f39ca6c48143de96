// Values as other classes (`as`), and comparison, containment and equality, which lean on it.
//
// Pure over the values given. Throws ScriptError -1700 when a value cannot be made into a class.
#pragma once
#include "applescript/values/Text.h"
#include "applescript/values/Value.h"

namespace ombru::applescript {

// References to values of the script must have been followed before, also inside lists where that matters.
Value coerce(const Value &value, const QString &type, const TextRules &rules);
std::optional<Value> tryCoerce(const Value &value, const QString &type, const TextRules &rules);
QString toText(const Value &value, const TextRules &rules);
double toNumber(const Value &value, const TextRules &rules);
qint64 toInteger(const Value &value, const TextRules &rules);
bool toBoolean(const Value &value, const TextRules &rules);

[[noreturn]] void failCoercion(const Value &value, const QString &type);

bool areEqual(const Value &left, const Value &right, const TextRules &rules);

// <, >, ≤, ≥; below, at or above 0.
int compareValues(const Value &left, const Value &right, const TextRules &rules);

// Whether the part is in the whole, there.
enum class Position { anywhere, atStart, atEnd };
bool holds(Position position, const Value &whole, const Value &part, const TextRules &rules);

// A date as people write it: ISO, M/D/Y, "March 3, 2026 at 2:30 PM", or a time of today.
std::optional<QDateTime> parseDate(const QString &text, const QDateTime &now);

} // namespace ombru::applescript
