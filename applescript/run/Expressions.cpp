#include "applescript/run/Expressions.h"

#include "applescript/run/Interpreter.h"
#include "applescript/run/Operators.h"
#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Overloaded.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

void failNoResult(const Expression &expression) {
    throw ScriptError{error::NO_RESULT, u"No result was returned from some part of this expression."_s,
                      expression.range};
}

Value Expressions::evaluate(const Expression &expression) {
    try {
        return got(expression, form(expression));
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = expression.range;
        throw;
    }
}

Value Expressions::specify(const Expression &expression) {
    try {
        return form(expression);
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = expression.range;
        throw;
    }
}

Value Expressions::data(const Expression &expression) {
    Value value = m_run.follow(evaluate(expression));
    if (value.isNothing())
        failNoResult(expression);
    return value;
}

bool Expressions::condition(const Expression &expression) {
    const Value value = data(expression);
    try {
        return toBoolean(value, m_run.rules());
    } catch (ScriptError &error) {
        error.range = expression.range;
        throw;
    }
}

// A description written here is asked for; one that a variable holds stays a reference.
Value Expressions::got(const Expression &expression, Value value) {
    if (!expression.as<Property>() && !expression.as<Element>())
        return value;
    const auto *specifier = value.as<SpecifierPtr>();
    if (!specifier || (*specifier)->form == Specifier::Form::application || !applicationOf(**specifier))
        return value;
    return m_run.references().get(*specifier);
}

Value Expressions::form(const Expression &expression) {
    checkStack();
    return std::visit(Overloaded{
                          [&](const Literal &form) { return form.value; },
                          [&](const Variable &form) { return variable(form); },
                          [&](const Chain &form) { return chain(form); },
                          [&](const Binary &form) { return binary(form); },
                          [&](const Property &form) { return m_run.references().property(form); },
                          [&](const Element &form) { return m_run.references().element(form); },
                          [&](const Call &form) { return m_run.handlers().call(form); },
                          [&](const Command &form) { return m_run.commands().run(form); },
                          [&](const Parenthesized &form) { return evaluate(*form.inner); },
                          [&](const Special &form) { return special(form); },
                          [&](const Coercion &form) { return coercion(form); },
                          [&](const ReferenceTo &form) { return m_run.references().to(form); },
                          [&](const Not &form) { return Value(!condition(*form.operand)); },
                          [&](const Negation &form) { return negation(form); },
                          [&](const ListExpression &form) { return list(form); },
                          [&](const RecordExpression &form) { return record(form); },
                      },
                      expression.form);
}

Value Expressions::negation(const Negation &negation) {
    const Value value = data(*negation.operand);
    return negation.negative ? negated(value, m_run.rules()) : coerce(value, u"number"_s, m_run.rules());
}

Value Expressions::list(const ListExpression &list) {
    std::vector<Value> items;
    auto &frame = m_run.scopes().frame();
    const Restore target(frame.target);
    if (list.container)
        frame.target = specify(*list.container);
    for (const auto &item : list.items) {
        items.push_back(evaluate(*item));
        if (items.back().isNothing())
            failNoResult(*item);
    }
    return Value::list(std::move(items));
}

Value Expressions::record(const RecordExpression &record) {
    std::vector<std::pair<Name, Value>> fields;
    for (const auto &[name, field] : record.fields)
        fields.emplace_back(name, data(*field));
    return Value::record(std::move(fields));
}

Value Expressions::variable(const Variable &variable) {
    const auto found = m_run.scopes().find(variable.name.key);
    if (found && !found->isNothing())
        return *found;
    if (const auto handler = m_run.handlers().find(m_run.scopes().frame().me, variable.name.key))
        return HandlerPtr(handler);
    throw ScriptError{error::UNDEFINED_VARIABLE, u"The variable %1 is not defined."_s.arg(variable.name.spelling)};
}

Value Expressions::special(const Special &special) {
    const auto &frame = m_run.scopes().frame();
    switch (special.kind) {
    case Special::Kind::me:
        return frame.me;
    case Special::Kind::it:
        return frame.target.isNothing() ? Value(frame.me) : frame.target;
    case Special::Kind::appleScript:
        return Constant{u"AppleScript"_s};
    case Special::Kind::currentApplication:
        return Constant{u"current application"_s};
    case Special::Kind::result:
        break;
    }
    if (frame.result.isNothing())
        throw ScriptError{error::UNDEFINED_VARIABLE, u"The variable result is not defined."_s};
    return frame.result;
}

// To the first of the classes that it can be made into; it stays what it is when its own class is among several.
Value Expressions::coercion(const Coercion &coercion) {
    const Value value = data(*coercion.operand);
    const Value type = data(*coercion.type);
    std::vector<Value> types{type};
    if (const auto *list = type.as<ListPtr>())
        types = (*list)->items;
    for (const auto &wanted : types) {
        const auto *name = wanted.as<ClassName>();
        if (types.size() > 1 && name && name->name == className(value))
            return value;
    }
    for (const auto &wanted : types) {
        if (auto made = coerced(value, wanted))
            return *made;
    }
    const auto *last = types.empty() ? nullptr : types.back().as<ClassName>();
    failCoercion(value, last ? last->name : u"class"_s);
}

std::optional<Value> Expressions::coerced(const Value &value, const Value &type) {
    const auto *name = type.as<ClassName>();
    if (!name)
        failCoercion(type, u"class"_s);
    if (name->name == u"date" && value.is<QString>()) {
        if (const auto date = parseDate(*value.as<QString>(), m_run.host().system().now()))
            return Value::date(*date);
    }
    const bool text = name->name == u"text";
    return tryCoerce(text ? m_run.parts().followItems(value) : value, name->name, m_run.rules());
}

// ---- Operators

Value Expressions::chain(const Chain &chain) {
    const auto first = chain.steps.front().operation;
    if (first == Operator::logicalAnd || first == Operator::logicalOr)
        return logical(chain, first == Operator::logicalOr);
    Value left = data(*chain.first);
    for (const auto &step : chain.steps) {
        Value right = data(*step.operand);
        if (step.operation != Operator::concatenate) {
            left = calculated(step.operation, left, right, m_run.rules());
            continue;
        }
        if (left.is<QString>())
            right = m_run.parts().followItems(right);
        left = concatenated(left, right, m_run.rules());
    }
    return left;
}

Value Expressions::logical(const Chain &chain, bool stops) {
    if (condition(*chain.first) == stops)
        return stops;
    for (const auto &step : chain.steps) {
        if (condition(*step.operand) == stops)
            return stops;
    }
    return !stops;
}

Value Expressions::binary(const Binary &binary) {
    const auto operation = binary.operation;
    if (operation == Operator::equal || operation == Operator::notEqual)
        return equality(binary) == (operation == Operator::equal);
    const Value left = data(*binary.left), right = data(*binary.right);
    auto &parts = m_run.parts();
    if (looksInside(operation))
        return compared(operation, parts.followItems(left), parts.followItems(right), m_run.rules());
    return compared(operation, left, right, m_run.rules());
}

// A reference is not what it refers to: `contents of` makes it that.
bool Expressions::equality(const Binary &binary) {
    const Value left = evaluate(*binary.left), right = evaluate(*binary.right);
    if (left.isNothing())
        failNoResult(*binary.left);
    if (right.isNothing())
        failNoResult(*binary.right);
    return areEqual(left, right, m_run.rules());
}

} // namespace ombru::applescript
