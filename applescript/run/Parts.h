// Properties and elements of the script's own values. What belongs to an application is only described.
#pragma once
#include "applescript/run/Selection.h"

namespace ombru::applescript {

class Interpreter;

class Parts {
public:
    explicit Parts(Interpreter &interpreter) : m_run(interpreter) {}

    Value of(const Value &container, Specifier part);
    Value property(const Value &value, const QString &name);

    Value follow(Value value);             // a reference into the script's own values becomes what it names
    Value followItems(const Value &value); // references among a list's items followed; other values as they are
    qsizetype count(const Value &value);
    std::optional<Value> textOfCodePoints(const Specifier &part); // `character id 65`, `string id {72, 105}`

private:
    Value described(const Value &whole, Specifier part);
    Value element(const Value &value, const Specifier &part);
    Value ofList(const std::vector<Value> &items, const Specifier &part);
    Value ofText(const QString &text, const Specifier &part);
    Value ofScript(const ScriptPtr &script, const QString &name);
    Stretch stretch(const Specifier &part, std::size_t count);

    Interpreter &m_run;
};

[[noreturn]] void failMissing(const Specifier &part);
[[noreturn]] void failMissing(const QString &property, const Value &container);

} // namespace ombru::applescript
