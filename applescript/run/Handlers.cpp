#include "applescript/run/Handlers.h"

#include "applescript/run/Interpreter.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

DefinitionPtr Handlers::find(const ScriptPtr &script, const QString &key) const {
    for (ScriptPtr owner = script; owner; owner = parentOf(owner)) {
        for (const auto &handler : owner->definition->handlers) {
            if (handler->name.key == key)
                return handler;
        }
    }
    return nullptr;
}

Value Handlers::call(const Call &call) {
    const auto &frame = m_run.scopes().frame();
    Value receiver;
    if (call.container)
        receiver = m_run.follow(m_run.expressions().specify(*call.container));
    std::vector<Value> arguments;
    for (const auto &argument : call.arguments) {
        arguments.push_back(m_run.expressions().evaluate(*argument));
        if (arguments.back().isNothing())
            failNoResult(*argument);
    }
    if (!call.container && frame.target.is<ScriptPtr>())
        receiver = frame.target;
    const auto *object = receiver.as<ScriptPtr>();
    const ScriptPtr script = object ? *object : frame.me;
    auto handler = call.container && !object ? nullptr : find(script, call.name.key);
    if (!handler && !call.container) { // a handler that was put into a variable
        const auto variable = m_run.scopes().find(call.name.key);
        const auto *stored = variable ? variable->as<HandlerPtr>() : nullptr;
        handler = stored ? std::static_pointer_cast<const HandlerDefinition>(*stored) : nullptr;
    }
    if (!handler)
        throw ScriptError{error::NOT_UNDERSTOOD,
                          u"%1 doesn’t understand the “%2” message."_s.arg(
                              formatSource(receiver.isNothing() ? Value(frame.me) : receiver), call.name.spelling)};
    return invoke(script, *handler, arguments, call.labels);
}

// The arguments in the order of the parameters.
std::vector<Value> Handlers::arrange(const HandlerDefinition &handler, const std::vector<Value> &arguments,
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
            arranged.push_back(m_run.data(*parameter.standard));
        else
            throw ScriptError{error::MISSING_PARAMETER,
                              u"The %1 parameter is missing for %2."_s.arg(parameter.label, handler.name.spelling)};
    }
    return arranged;
}

void Handlers::bind(const HandlerDefinition &handler, std::vector<Value> arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto &parameter = handler.parameters[i];
        if (parameter.type) {
            const Value type = m_run.data(*parameter.type);
            if (const auto *name = type.as<ClassName>())
                arguments[i] = coerce(m_run.follow(arguments[i]), name->name, m_run.rules());
        }
        bind(*parameter.pattern, arguments[i]);
    }
}

void Handlers::bind(const Expression &pattern, const Value &value) {
    if (const auto *variable = pattern.as<Variable>()) {
        m_run.scopes().frame().locals.insert(variable->name.key, std::make_shared<Value>(value));
    } else if (const auto *list = pattern.as<ListExpression>()) {
        bindList(*list, m_run.follow(value));
    } else if (const auto *record = pattern.as<RecordExpression>()) {
        for (const auto &[name, part] : record->fields)
            bind(*part, m_run.parts().property(m_run.follow(value), name.spelling));
    }
}

void Handlers::bindList(const ListExpression &pattern, const Value &value) {
    const auto *items = value.as<ListPtr>();
    if (!items)
        failCoercion(value, u"list"_s);
    for (std::size_t i = 0; i < pattern.items.size(); ++i) {
        if (i >= (*items)->items.size())
            throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get item %1 of %2."_s.arg(i + 1).arg(formatSource(value))};
        bind(*pattern.items[i], (*items)->items[i]);
    }
}

Value Handlers::invoke(const ScriptPtr &script, const HandlerDefinition &handler, const std::vector<Value> &arguments,
                       const std::vector<QString> &labels) {
    checkStack();
    auto arranged = arrange(handler, arguments, labels);
    const Considerations::Kept kept(m_run.considerations());
    const auto frame = std::make_shared<Frame>(script);
    const Scopes::Entered entered(m_run.scopes(), frame);
    frame->useGlobals(script->definition->globals);
    bind(handler, std::move(arranged));
    if (m_run.statements().execute(handler.body) == Flow::exitRepeat)
        failExitOutside();
    return frame->result;
}

ScriptPtr Handlers::instantiate(const std::shared_ptr<const ScriptDefinition> &definition) {
    auto script = std::make_shared<ScriptObject>();
    script->name = definition->name;
    script->definition = definition;
    script->parent = m_run.scopes().frame().me;
    const Scopes::Entered entered(m_run.scopes(), std::make_shared<Frame>(script));
    for (const auto &statement : definition->body) {
        if (std::holds_alternative<PropertyDeclaration>(statement.form) ||
            std::holds_alternative<ScriptStatement>(statement.form))
            m_run.statements().execute(statement);
    }
    return script;
}

} // namespace ombru::applescript
