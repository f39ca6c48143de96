// Operators over values. References to values of the script have been followed before.
//
// Pure, any thread. Throws ScriptError when the values do not go with the operator.
#pragma once
#include "applescript/syntax/Ast.h"
#include "applescript/values/Text.h"

namespace ombru::applescript {

// + - * / div mod
Value calculated(Operator operation, const Value &left, const Value &right, const TextRules &rules);

Value negated(const Value &value, const TextRules &rules);

// &
Value concatenated(const Value &left, const Value &right, const TextRules &rules);

// contains, is in, starts with ...: those that look at what lists hold
bool looksInside(Operator operation);

// ^, < > ≤ ≥, and those that look inside
Value compared(Operator operation, const Value &left, const Value &right, const TextRules &rules);

} // namespace ombru::applescript
