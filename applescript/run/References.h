// Descriptions of things: from the words of a script to a Specifier, or at once to what it names when that is a value
// of the script's own.
#pragma once
#include "applescript/syntax/Ast.h"

namespace ombru::applescript {

class Interpreter;

class References {
public:
    explicit References(Interpreter &interpreter) : m_run(interpreter) {}

    void start(const QString &text) { m_text = text; } // of the script, for messages
    QString written(const Expression &expression) const;

    Value property(const Property &property);
    Value element(const Element &element);
    Value to(const ReferenceTo &reference);
    Specifier describe(const Element &element);
    Value get(const SpecifierPtr &specifier); // asks the application it belongs to

private:
    Value bareProperty(const Property &property);
    std::optional<Value> rootElement(const Element &element, const Value &key);
    std::optional<Value> dateElement(const Element &element, const Value &key);
    std::shared_ptr<const Filter> filterOf(const Expression &test);
    bool accepts(const Expression &test, const Value &candidate);

    Interpreter &m_run;
    QString m_text;
    std::shared_ptr<const bool> m_alive = std::make_shared<const bool>(true); // what outlives a script asks for it
};

} // namespace ombru::applescript
