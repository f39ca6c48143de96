// `set` and `copy`: to variables, patterns, properties, elements and the ends of lists.
#pragma once
#include "applescript/syntax/Ast.h"

namespace ombru::applescript {

class Interpreter;

class Assignments {
public:
    explicit Assignments(Interpreter &interpreter) : m_run(interpreter) {}

    void assign(const Expression &target, const Value &value);

private:
    void toForm(const Expression &target, const Value &value);
    void toProperty(const Property &property, const Value &value);
    void toContents(const Expression &reference, const Value &value);
    void toElement(const Element &element, const Value &value);
    void toPattern(const ListExpression &pattern, const Value &value);
    void toPart(const Value &container, const Specifier &part, const Value &value);
    bool toOwnProperty(const Value &whole, const QString &key, const Value &value);
    void toDate(Date &date, const QString &key, const Value &value);
    void toScript(const ScriptPtr &script, const QString &key, const Value &value);
    void toList(List &list, const Specifier &part, const Value &value);

    Interpreter &m_run;
};

} // namespace ombru::applescript
