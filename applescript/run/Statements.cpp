#include "applescript/run/Statements.h"

#include "applescript/run/Interpreter.h"
#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Overloaded.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

struct ErrorDetails {
    Value from;
    Value partial;
    Value to;
};

void failExitOutside() {
    throw ScriptError{-2755, u"Can’t exit repeat when not inside a repeat."_s};
}

Flow Statements::execute(const Block &block) {
    for (const auto &statement : block) {
        if (const Flow flow = execute(statement); flow != Flow::normal)
            return flow;
    }
    return Flow::normal;
}

Flow Statements::execute(const Statement &statement) {
    checkStack();
    try {
        return form(statement);
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = statement.range;
        throw;
    }
}

// Statements that cannot leave a loop or a handler have nothing to say about the flow.
Flow Statements::form(const Statement &statement) {
    const auto plainly = [](auto &&run) {
        run();
        return Flow::normal;
    };
    return std::visit(
        Overloaded{
            [&](const Tell &form) { return tell(form); },
            [&](const If &form) { return choose(form); },
            [&](const Repeat &form) { return repeat(form); },
            [&](const Try &form) { return attempt(form); },
            [&](const Considering &form) { return considering(form); },
            [&](const Timeout &form) { return timeout(form); },
            [&](const Return &form) { return giveBack(form); },
            [&](const ExitRepeat &) { return Flow::exitRepeat; },
            [&](const Assignment &form) { return plainly([&] { assign(form); }); },
            [&](const ErrorStatement &form) { return plainly([&] { raise(form); }); },
            [&](const Declaration &form) { return plainly([&] { m_run.scopes().declare(form); }); },
            [&](const Use &form) { return plainly([&] { use(form); }); },
            [&](const PropertyDeclaration &form) { return plainly([&] { define(form); }); },
            [&](const ScriptStatement &form) { return plainly([&] { define(form); }); },
            [&](const Continue &form) { return plainly([&] { continueInParent(form); }); },
            [&](const ExpressionStatement &form) {
                return plainly([&] { m_run.scopes().frame().result = m_run.expressions().evaluate(*form.expression); });
            },
        },
        statement.form);
}

void Statements::assign(const Assignment &statement) {
    Value value = m_run.expressions().evaluate(*statement.value);
    if (value.isNothing())
        failNoResult(*statement.value);
    if (statement.copies)
        value = deepCopy(m_run.follow(value));
    m_run.assignments().assign(*statement.target, value);
    m_run.scopes().frame().result = value;
}

Flow Statements::giveBack(const Return &statement) {
    Value value = statement.value ? m_run.expressions().evaluate(*statement.value) : Value();
    m_run.scopes().frame().result = std::move(value);
    return Flow::returned;
}

Flow Statements::timeout(const Timeout &statement) {
    const Restore<std::optional<Clock::Duration>> restore(m_run.timeLimit());
    if (statement.seconds)
        m_run.timeLimit() = Clock::seconds(toNumber(m_run.data(*statement.seconds), m_run.rules()));
    return execute(statement.body);
}

void Statements::use(const Use &statement) {
    if (!statement.framework.isEmpty())
        throw ScriptError{
            error::NO_SUCH_OBJECT,
            u"Can’t get framework \"%1\". Scripts can’t use frameworks on this computer."_s.arg(statement.framework)};
}

void Statements::define(const PropertyDeclaration &property) {
    Value value = m_run.data(*property.value);
    const auto &me = m_run.scopes().frame().me;
    if (property.name.key == u"parent")
        me->parent = value;
    me->properties.insert(property.name.key, std::make_shared<Value>(std::move(value)));
}

void Statements::define(const ScriptStatement &statement) {
    const auto script = m_run.handlers().instantiate(statement.definition);
    auto &frame = m_run.scopes().frame();
    if (!script->name.key.isEmpty())
        frame.me->properties.insert(script->name.key, std::make_shared<Value>(script));
    frame.result = script;
}

// What the parent does not handle is the language's own.
void Statements::continueInParent(const Continue &statement) {
    const auto *sent = statement.call->as<Call>();
    const ScriptPtr me = m_run.scopes().frame().me;
    const ScriptPtr parent = parentOf(me);
    const auto handler = sent && parent ? m_run.handlers().find(parent, sent->name.key) : nullptr;
    auto &expressions = m_run.expressions();
    Value result;
    if (handler) {
        std::vector<Value> arguments;
        for (const auto &argument : sent->arguments)
            arguments.push_back(expressions.evaluate(*argument));
        result = m_run.handlers().invoke(me, *handler, arguments, sent->labels);
    } else {
        result = expressions.evaluate(*statement.call);
    }
    m_run.scopes().frame().result = std::move(result);
}

Flow Statements::tell(const Tell &tell) {
    Value target = m_run.expressions().specify(*tell.target);
    if (const auto *specifier = target.as<SpecifierPtr>();
        specifier && (*specifier)->form == Specifier::Form::application && (*specifier)->application.id.isEmpty())
        throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get %1."_s.arg(formatSource(target)), tell.target->range};
    const auto frame = m_run.scopes().current();
    const Restore<Value> restore(frame->target);
    frame->target = m_run.follow(target);
    return execute(tell.body);
}

Flow Statements::choose(const If &statement) {
    for (const auto &branch : statement.branches) {
        if (!branch.condition || m_run.expressions().condition(*branch.condition))
            return execute(branch.body);
    }
    return Flow::normal;
}

Flow Statements::repeat(const Repeat &loop) {
    using enum Repeat::Kind;
    if (loop.kind == counting)
        return count(loop);
    if (loop.kind == Repeat::Kind::each)
        return this->each(loop);
    auto &expressions = m_run.expressions();
    qint64 left = loop.kind == times ? toInteger(m_run.data(*loop.subject), m_run.rules()) : 0;
    while (true) {
        if (loop.kind == times && left-- <= 0)
            return Flow::normal;
        if (loop.kind == whileTrue && !expressions.condition(*loop.subject))
            return Flow::normal;
        if (loop.kind == until && expressions.condition(*loop.subject))
            return Flow::normal;
        if (const Flow flow = execute(loop.body); flow != Flow::normal)
            return flow == Flow::exitRepeat ? Flow::normal : flow;
    }
}

Flow Statements::count(const Repeat &loop) {
    const auto bound = [&](const ExpressionPtr &expression) {
        return toInteger(m_run.data(*expression), m_run.rules());
    };
    const qint64 first = bound(loop.subject);
    const qint64 last = bound(loop.last);
    const qint64 step = loop.step ? bound(loop.step) : 1;
    if (step == 0)
        throw ScriptError{error::BAD_PARAMETER, u"Can’t repeat by 0."_s};
    for (qint64 i = first; step > 0 ? i <= last : i >= last; i += step) {
        *m_run.scopes().place(loop.variable.key) = Value::number(i);
        if (const Flow flow = execute(loop.body); flow != Flow::normal)
            return flow == Flow::exitRepeat ? Flow::normal : flow;
    }
    return Flow::normal;
}

// The variable is a reference to an item, not the item.
Flow Statements::each(const Repeat &loop) {
    const Value whole = m_run.data(*loop.subject);
    const qsizetype count = m_run.parts().count(whole);
    for (qsizetype i = 1; i <= count; ++i) {
        Specifier item;
        item.form = Specifier::Form::index;
        item.name = u"item"_s;
        item.key = qint64(i);
        item.container = whole;
        *m_run.scopes().place(loop.variable.key) = Value::specifier(std::move(item));
        if (const Flow flow = execute(loop.body); flow != Flow::normal)
            return flow == Flow::exitRepeat ? Flow::normal : flow;
    }
    return Flow::normal;
}

Flow Statements::considering(const Considering &statement) {
    auto &considerations = m_run.considerations();
    const Considerations::Kept kept(considerations);
    considerations.consider((considerations.considered() | statement.considered) & ~statement.ignored);
    return execute(statement.body);
}

// ---- Errors

Flow Statements::attempt(const Try &statement) {
    std::optional<ScriptError> caught;
    try {
        return execute(statement.body);
    } catch (const ScriptError &error) {
        caught = error;
    }
    return handle(statement, *caught);
}

Flow Statements::handle(const Try &statement, const ScriptError &error) {
    if (statement.number && !statement.number->as<Variable>() &&
        toInteger(m_run.data(*statement.number), m_run.rules()) != error.number)
        throw error;
    if (!statement.handles)
        return Flow::normal;
    auto &assignments = m_run.assignments();
    if (statement.message)
        assignments.assign(*statement.message, error.message);
    if (statement.number && statement.number->as<Variable>())
        assignments.assign(*statement.number, error.number);
    const auto give = [&](const ExpressionPtr &target, const Value &value) {
        if (target)
            assignments.assign(*target, value.isNothing() ? Value::missing() : value);
    };
    const ErrorDetails details = error.details ? *error.details : ErrorDetails{};
    give(statement.from, details.from);
    give(statement.partial, details.partial.isNothing() ? Value::list({}) : details.partial);
    give(statement.to, details.to);
    return execute(statement.handler);
}

void Statements::raise(const ErrorStatement &statement) {
    ScriptError error;
    if (statement.message)
        error.message = toText(m_run.data(*statement.message), m_run.rules());
    if (statement.number)
        error.number = int(toInteger(m_run.data(*statement.number), m_run.rules()));
    if (!statement.message)
        error.message = error.number == error::CANCELED ? u"User canceled."_s
                        : statement.number              ? u"An error of type %1 has occurred."_s.arg(error.number)
                                                        : u"An error has occurred."_s;
    const auto detail = [&](const ExpressionPtr &expression) {
        return expression ? m_run.expressions().evaluate(*expression) : Value();
    };
    error.details = std::make_shared<const ErrorDetails>(
        ErrorDetails{detail(statement.from), detail(statement.partial), detail(statement.to)});
    throw error;
}

} // namespace ombru::applescript
