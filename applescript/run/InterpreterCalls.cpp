// Calls of the script's own handlers.
#include "applescript/run/Interpreter.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

// The handler and, in `script`, the object of the parent chain that has it.
Interpreter::DefinitionPtr Interpreter::findHandler(ScriptPtr &script, const QString &key) const {
    for (ScriptPtr owner = script; owner;) {
        if (owner->definition) {
            for (const auto &handler : owner->definition->handlers) {
                if (handler->name.key == key)
                    return handler;
            }
        }
        const auto *parent = owner->parent.as<ScriptPtr>();
        owner = parent ? *parent : nullptr;
    }
    return nullptr;
}

Value Interpreter::call(const Call &call) {
    Value receiver;
    if (call.container)
        receiver = follow(specify(*call.container));
    std::vector<Value> arguments;
    for (const auto &argument : call.arguments) {
        arguments.push_back(evaluate(*argument));
        if (arguments.back().isNothing())
            throw ScriptError{error::NO_RESULT, u"No result was returned from some part of this expression."_s,
                              argument->range};
    }
    if (!call.container && m_frame->target.is<ScriptPtr>())
        receiver = m_frame->target;
    const auto *object = receiver.as<ScriptPtr>();
    ScriptPtr script = object ? *object : m_frame->me;
    auto handler = call.container && !object ? nullptr : findHandler(script, call.name.key);
    if (!handler && !call.container) { // a handler that was put into a variable
        const auto variable = find(call.name.key);
        const auto *stored = variable ? variable->as<HandlerPtr>() : nullptr;
        handler = stored ? std::static_pointer_cast<const HandlerDefinition>(*stored) : nullptr;
    }
    if (!handler)
        throw ScriptError{error::NOT_UNDERSTOOD,
                          u"%1 doesn’t understand the “%2” message."_s.arg(
                              formatSource(receiver.isNothing() ? Value(m_frame->me) : receiver), call.name.spelling)};
    return invoke(script, handler, arguments, call.labels);
}

// The arguments in the order of the parameters.
std::vector<Value> Interpreter::arrange(const HandlerDefinition &handler, const std::vector<Value> &arguments,
                                        const std::vector<QString> &labels) {
    if (labels.empty()) {
        if (arguments.size() != handler.parameters.size())
            throw ScriptError{error::WRONG_ARGUMENTS,
                              u"The parameters of %1 don’t match: it takes %2, not %3."_s.arg(
                                  handler.name.spelling, QString::number(handler.parameters.size()),
                                  QString::number(arguments.size()))};
        return arguments;
    }
    std::vector<Value> arranged;
    for (const auto &parameter : handler.parameters) {
        const auto found = std::find(labels.begin(), labels.end(), parameter.label);
        if (found != labels.end())
            arranged.push_back(arguments[std::size_t(found - labels.begin())]);
        else if (parameter.standard)
            arranged.push_back(data(*parameter.standard));
        else
            throw ScriptError{error::MISSING_PARAMETER,
                              u"The %1 parameter is missing for %2."_s.arg(parameter.label, handler.name.spelling)};
    }
    return arranged;
}

void Interpreter::bind(const Expression &pattern, const Value &value) {
    if (const auto *variable = pattern.as<Variable>()) {
        m_frame->locals.insert(variable->name.key, std::make_shared<Value>(value));
        return;
    }
    if (const auto *list = pattern.as<ListExpression>()) {
        const Value whole = follow(value);
        const auto *items = whole.as<ListPtr>();
        if (!items)
            failCoercion(whole, u"list"_s);
        for (std::size_t i = 0; i < list->items.size(); ++i) {
            if (i >= (*items)->items.size())
                throw ScriptError{error::NO_SUCH_OBJECT,
                                  u"Can’t get item %1 of %2."_s.arg(i + 1).arg(formatSource(whole))};
            bind(*list->items[i], (*items)->items[i]);
        }
        return;
    }
    if (const auto *record = pattern.as<RecordExpression>()) {
        for (const auto &[name, part] : record->fields)
            bind(*part, propertyOfData(follow(value), name.spelling));
    }
}

Value Interpreter::invoke(const ScriptPtr &script, const DefinitionPtr &handler, const std::vector<Value> &arguments,
                          const std::vector<QString> &labels) {
    checkStack();
    auto arranged = arrange(*handler, arguments, labels);
    const auto caller = m_frame;
    const auto considered = m_rules.considered;
    m_frame = std::make_shared<Frame>();
    m_frame->me = script;
    m_frame->handler = handler.get();
    const auto leave = [&] {
        m_frame = caller;
        m_rules.considered = considered;
    };
    try {
        if (script->definition) {
            for (const auto &global : script->definition->globals)
                m_frame->globals.insert(global.key);
        }
        for (std::size_t i = 0; i < arranged.size(); ++i) {
            const auto &parameter = handler->parameters[i];
            if (parameter.type) {
                const Value type = data(*parameter.type);
                const auto *name = type.as<ClassName>();
                arranged[i] = name ? coerce(follow(arranged[i]), name->name, m_rules) : arranged[i];
            }
            bind(*parameter.pattern, arranged[i]);
        }
        if (execute(handler->body) == Flow::exitRepeat)
            throw ScriptError{-2755, u"Can’t exit repeat when not inside a repeat."_s};
        Value result = m_frame->result;
        leave();
        return result;
    } catch (...) {
        leave();
        throw;
    }
}

} // namespace ombru::applescript
