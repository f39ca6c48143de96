#include "applescript/run/Interpreter.h"

#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Overloaded.h"
#include "applescript/values/Stack.h"

#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

// What is let go of may hold the last reference to this frame: it dies only after the last member was emptied.
void Interpreter::Frame::release() {
    const auto droppedLocals = std::exchange(locals, {});
    const auto droppedMe = std::exchange(me, {});
    const auto droppedTarget = std::exchange(target, {});
    const auto droppedResult = std::exchange(result, {});
}

Value Interpreter::run(const std::shared_ptr<const ScriptDefinition> &script, const QStringList &arguments,
                       const QString &text) {
    m_text = text;
    m_root = std::make_shared<ScriptObject>();
    m_root->definition = script;
    m_frame = std::make_shared<Frame>();
    m_frame->me = m_root;
    for (const auto &global : script->globals)
        m_frame->globals.insert(global.key);
    const Flow flow = execute(script->body);
    if (flow == Flow::exitRepeat)
        throw ScriptError{-2755, u"Can’t exit repeat when not inside a repeat."_s};
    ScriptPtr owner = m_root;
    if (const auto handler = findHandler(owner, u"run"_s)) {
        std::vector<Value> items;
        for (const auto &argument : arguments)
            items.emplace_back(argument);
        std::vector<Value> passed;
        if (!handler->parameters.empty())
            passed.push_back(Value::list(std::move(items)));
        return follow(invoke(owner, handler, passed, {}));
    }
    return follow(m_frame->result);
}

// ---- Variables

std::shared_ptr<Value> Interpreter::find(const QString &key) const {
    if (!m_frame->globals.contains(key)) {
        if (const auto local = m_frame->locals.value(key))
            return local;
    }
    for (ScriptPtr script = m_frame->me; script;) {
        if (const auto property = script->properties.value(key))
            return property;
        const auto *parent = script->parent.as<ScriptPtr>();
        script = parent ? *parent : nullptr;
    }
    if (m_frame->globals.contains(key))
        return m_root->properties.value(key);
    return nullptr;
}

std::shared_ptr<Value> Interpreter::place(const QString &key) {
    if (!m_frame->globals.contains(key)) {
        if (auto found = find(key))
            return found;
        auto &local = m_frame->locals[key];
        local = std::make_shared<Value>();
        return local;
    }
    auto &global = m_root->properties[key];
    if (!global)
        global = std::make_shared<Value>();
    return global;
}

bool Interpreter::targetsApplication() const {
    const auto *specifier = m_frame->target.as<SpecifierPtr>();
    return specifier && applicationOf(**specifier);
}

void Interpreter::declare(const Declaration &declaration) {
    for (const auto &name : declaration.names) {
        if (declaration.global)
            m_frame->globals.insert(name.key);
        else
            m_frame->locals.insert(name.key, std::make_shared<Value>());
    }
}

ScriptPtr Interpreter::instantiate(const std::shared_ptr<const ScriptDefinition> &definition) {
    auto script = std::make_shared<ScriptObject>();
    script->name = definition->name;
    script->definition = definition;
    script->parent = m_frame->me;
    const auto outer = m_frame;
    auto frame = std::make_shared<Frame>();
    frame->me = script;
    m_frame = frame;
    const Restore<std::shared_ptr<Frame>> restore(m_frame);
    for (const auto &statement : definition->body) {
        if (std::holds_alternative<PropertyDeclaration>(statement.form) ||
            std::holds_alternative<ScriptStatement>(statement.form))
            execute(statement);
    }
    m_frame = outer;
    return script;
}

void Interpreter::define(const ScriptStatement &statement) {
    const auto script = instantiate(statement.definition);
    const auto &name = statement.definition->name;
    if (!name.key.isEmpty())
        m_frame->me->properties.insert(name.key, std::make_shared<Value>(script));
    m_frame->result = script;
}

// ---- Statements

Interpreter::Flow Interpreter::execute(const Block &block) {
    for (const auto &statement : block) {
        if (const Flow flow = execute(statement); flow != Flow::normal)
            return flow;
    }
    return Flow::normal;
}

// Statements that cannot leave a loop or a handler have nothing to say about the flow.
Interpreter::Flow Interpreter::execute(const Statement &statement) {
    checkStack();
    const auto plainly = [](auto &&run) {
        run();
        return Flow::normal;
    };
    try {
        return std::visit(Overloaded{
                              [&](const Tell &form) { return executeTell(form); },
                              [&](const If &form) { return executeIf(form); },
                              [&](const Repeat &form) { return executeRepeat(form); },
                              [&](const Try &form) { return executeTry(form); },
                              [&](const Considering &form) { return executeConsidering(form); },
                              [&](const Timeout &form) { return executeTimeout(form); },
                              [&](const Return &form) { return executeReturn(form); },
                              [&](const ExitRepeat &) { return Flow::exitRepeat; },
                              [&](const Assignment &form) { return plainly([&] { executeAssignment(form); }); },
                              [&](const ErrorStatement &form) { return plainly([&] { raise(form); }); },
                              [&](const Declaration &form) { return plainly([&] { declare(form); }); },
                              [&](const Use &form) { return plainly([&] { use(form); }); },
                              [&](const PropertyDeclaration &form) { return plainly([&] { define(form); }); },
                              [&](const ScriptStatement &form) { return plainly([&] { define(form); }); },
                              [&](const Continue &form) { return plainly([&] { executeContinue(form); }); },
                              [&](const ExpressionStatement &form) {
                                  return plainly([&] { m_frame->result = evaluate(*form.expression); });
                              },
                          },
                          statement.form);
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = statement.range;
        throw;
    }
}

void Interpreter::executeAssignment(const Assignment &statement) {
    Value value = evaluate(*statement.value);
    if (value.isNothing())
        throw ScriptError{error::NO_RESULT, u"No result was returned from some part of this expression."_s,
                          statement.value->range};
    if (statement.copies)
        value = deepCopy(follow(value));
    assign(*statement.target, value);
    m_frame->result = value;
}

Interpreter::Flow Interpreter::executeReturn(const Return &statement) {
    m_frame->result = statement.value ? evaluate(*statement.value) : Value();
    return Flow::returned;
}

Interpreter::Flow Interpreter::executeTimeout(const Timeout &statement) {
    if (statement.seconds)
        toNumber(data(*statement.seconds), m_rules);
    return execute(statement.body);
}

void Interpreter::use(const Use &statement) {
    if (!statement.framework.isEmpty())
        throw ScriptError{
            error::NO_SUCH_OBJECT,
            u"Can’t get framework \"%1\". Scripts can’t use frameworks on this computer."_s.arg(statement.framework)};
}

void Interpreter::define(const PropertyDeclaration &property) {
    Value value = data(*property.value);
    if (property.name.key == u"parent")
        m_frame->me->parent = value;
    m_frame->me->properties.insert(property.name.key, std::make_shared<Value>(std::move(value)));
}

// What the parent does not handle is the language's own.
void Interpreter::executeContinue(const Continue &statement) {
    const auto *sent = statement.call->as<Call>();
    const auto *above = m_frame->me->parent.as<ScriptPtr>();
    ScriptPtr parent = above ? *above : nullptr;
    const auto handler = sent && parent ? findHandler(parent, sent->name.key) : nullptr;
    if (!handler) {
        m_frame->result = evaluate(*statement.call);
        return;
    }
    std::vector<Value> arguments;
    for (const auto &argument : sent->arguments)
        arguments.push_back(evaluate(*argument));
    const ScriptPtr me = m_frame->me;
    m_frame->result = invoke(me, handler, arguments, sent->labels);
}

Interpreter::Flow Interpreter::executeTell(const Tell &tell) {
    Value target = specify(*tell.target);
    if (const auto *specifier = target.as<SpecifierPtr>();
        specifier && (*specifier)->form == Specifier::Form::application && (*specifier)->application.id.isEmpty())
        throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get %1."_s.arg(formatSource(target)), tell.target->range};
    const auto frame = m_frame;
    const Restore<Value> restore(frame->target);
    frame->target = follow(target);
    return execute(tell.body);
}

bool Interpreter::condition(const Expression &expression) {
    const Value value = data(expression);
    try {
        return toBoolean(value, m_rules);
    } catch (ScriptError &error) {
        error.range = expression.range;
        throw;
    }
}

Interpreter::Flow Interpreter::executeIf(const If &statement) {
    for (const auto &branch : statement.branches) {
        if (!branch.condition || condition(*branch.condition))
            return execute(branch.body);
    }
    return Flow::normal;
}

Interpreter::Flow Interpreter::executeRepeat(const Repeat &loop) {
    if (loop.kind == Repeat::Kind::counting)
        return executeCounting(loop);
    if (loop.kind == Repeat::Kind::each)
        return executeEach(loop);
    qint64 left = loop.kind == Repeat::Kind::times ? toInteger(data(*loop.subject), m_rules) : 0;
    while (true) {
        if (loop.kind == Repeat::Kind::times && left-- <= 0)
            return Flow::normal;
        if (loop.kind == Repeat::Kind::whileTrue && !condition(*loop.subject))
            return Flow::normal;
        if (loop.kind == Repeat::Kind::until && condition(*loop.subject))
            return Flow::normal;
        const Flow flow = execute(loop.body);
        if (flow != Flow::normal)
            return flow == Flow::exitRepeat ? Flow::normal : flow;
    }
}

Interpreter::Flow Interpreter::executeCounting(const Repeat &loop) {
    const qint64 first = toInteger(data(*loop.subject), m_rules);
    const qint64 last = toInteger(data(*loop.last), m_rules);
    const qint64 step = loop.step ? toInteger(data(*loop.step), m_rules) : 1;
    if (step == 0)
        throw ScriptError{error::BAD_PARAMETER, u"Can’t repeat by 0."_s};
    for (qint64 i = first; step > 0 ? i <= last : i >= last; i += step) {
        *place(loop.variable.key) = Value::number(i);
        const Flow flow = execute(loop.body);
        if (flow != Flow::normal)
            return flow == Flow::exitRepeat ? Flow::normal : flow;
    }
    return Flow::normal;
}

// The variable is a reference to an item, not the item.
Interpreter::Flow Interpreter::executeEach(const Repeat &loop) {
    const Value whole = data(*loop.subject);
    const qsizetype count = countOf(whole);
    for (qsizetype i = 1; i <= count; ++i) {
        Specifier item;
        item.form = Specifier::Form::index;
        item.name = u"item"_s;
        item.key = qint64(i);
        item.container = whole;
        *place(loop.variable.key) = Value::specifier(std::move(item));
        const Flow flow = execute(loop.body);
        if (flow != Flow::normal)
            return flow == Flow::exitRepeat ? Flow::normal : flow;
    }
    return Flow::normal;
}

Interpreter::Flow Interpreter::executeTry(const Try &statement) {
    const auto frame = m_frame;
    const auto rules = m_rules;
    std::optional<ScriptError> caught;
    try {
        return execute(statement.body);
    } catch (const ScriptError &error) {
        caught = error;
    }
    m_frame = frame;
    m_rules.considered = rules.considered;
    return catchError(statement, *caught);
}

Interpreter::Flow Interpreter::catchError(const Try &statement, const ScriptError &error) {
    if (statement.number && !statement.number->as<Variable>() &&
        toInteger(data(*statement.number), m_rules) != error.number)
        throw error;
    if (!statement.handles)
        return Flow::normal;
    if (statement.message)
        assign(*statement.message, error.message);
    if (statement.number && statement.number->as<Variable>())
        assign(*statement.number, error.number);
    const auto give = [&](const ExpressionPtr &target, const Value &value) {
        if (target)
            assign(*target, value.isNothing() ? Value::missing() : value);
    };
    const ErrorDetails details = error.details ? *error.details : ErrorDetails{};
    give(statement.from, details.from);
    give(statement.partial, details.partial.isNothing() ? Value::list({}) : details.partial);
    give(statement.to, details.to);
    return execute(statement.handler);
}

void Interpreter::raise(const ErrorStatement &statement) {
    ScriptError error;
    if (statement.message)
        error.message = toText(data(*statement.message), m_rules);
    if (statement.number)
        error.number = int(toInteger(data(*statement.number), m_rules));
    if (!statement.message)
        error.message = error.number == error::CANCELED ? u"User canceled."_s
                        : statement.number              ? u"An error of type %1 has occurred."_s.arg(error.number)
                                                        : u"An error has occurred."_s;
    ErrorDetails details;
    if (statement.from)
        details.from = evaluate(*statement.from);
    if (statement.partial)
        details.partial = evaluate(*statement.partial);
    if (statement.to)
        details.to = evaluate(*statement.to);
    error.details = std::make_shared<const ErrorDetails>(std::move(details));
    throw error;
}

Interpreter::Flow Interpreter::executeConsidering(const Considering &statement) {
    const Restore<TextRules> restore(m_rules);
    m_rules.considered = (m_rules.considered | statement.considered) & ~statement.ignored;
    return execute(statement.body);
}

} // namespace ombru::applescript
