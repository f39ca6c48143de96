// The script's own handlers: found along the chain of parents, given their arguments, run in a frame of their own; and
// the script objects that have them.
#pragma once
#include "applescript/syntax/Ast.h"
#include "applescript/values/ScriptObject.h"

namespace ombru::applescript {

class Interpreter;
using DefinitionPtr = std::shared_ptr<const HandlerDefinition>;

class Handlers {
public:
    explicit Handlers(Interpreter &interpreter) : m_run(interpreter) {}

    DefinitionPtr find(const ScriptPtr &script,
                       const QString &key) const; // nothing when neither it nor a parent has it
    Value call(const Call &call);
    Value invoke(const ScriptPtr &script, const HandlerDefinition &handler, const std::vector<Value> &arguments,
                 const std::vector<QString> &labels = {});
    ScriptPtr instantiate(const std::shared_ptr<const ScriptDefinition> &definition);

private:
    std::vector<Value> arrange(const HandlerDefinition &handler, const std::vector<Value> &arguments,
                               const std::vector<QString> &labels);
    void bind(const HandlerDefinition &handler, std::vector<Value> arguments);
    void bind(const Expression &pattern, const Value &value);
    void bindList(const ListExpression &pattern, const Value &value);

    Interpreter &m_run;
};

} // namespace ombru::applescript
