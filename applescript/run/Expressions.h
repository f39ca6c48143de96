// Expressions to values.
//
// A reference into a value of the script is followed at once; one into an application becomes a Specifier, which an
// expression turns into its value by sending `get`, and which a command takes as it is.
#pragma once
#include "applescript/syntax/Ast.h"

namespace ombru::applescript {

class Interpreter;

class Expressions {
public:
    explicit Expressions(Interpreter &interpreter) : m_run(interpreter) {}

    Value evaluate(const Expression &expression); // a value; application references are got
    Value data(const Expression &expression);     // and references of the script followed
    Value specify(const Expression &expression);  // application references stay as they are
    bool condition(const Expression &expression);

private:
    Value form(const Expression &expression);
    Value got(const Expression &expression, Value value);
    Value chain(const Chain &chain);
    Value logical(const Chain &chain, bool stops);
    Value binary(const Binary &binary);
    bool equality(const Binary &binary);
    Value negation(const Negation &negation);
    Value coercion(const Coercion &coercion);
    std::optional<Value> coerced(const Value &value, const Value &type);
    Value list(const ListExpression &list);
    Value record(const RecordExpression &record);
    Value variable(const Variable &variable);
    Value special(const Special &special);

    Interpreter &m_run;
};

// For an expression that a command without a result stands in.
[[noreturn]] void failNoResult(const Expression &expression);

} // namespace ombru::applescript
