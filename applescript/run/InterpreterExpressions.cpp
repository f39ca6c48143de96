// Expressions to values.
#include "applescript/run/Interpreter.h"
#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Overloaded.h"
#include "applescript/values/Stack.h"

#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {
[[noreturn]] void failNoResult(const Expression &expression) {
    throw ScriptError{error::NO_RESULT, u"No result was returned from some part of this expression."_s,
                      expression.range};
}
} // namespace

Value Interpreter::follow(Value value) {
    while (const auto *reference = value.as<SpecifierPtr>()) {
        checkStack();
        const SpecifierPtr specifier = *reference;
        if (applicationOf(*specifier))
            break;
        if (specifier->form == Specifier::Form::variable)
            value = *specifier->variable;
        else
            value = partOf(specifier->container, *specifier);
    }
    return value;
}

Value Interpreter::followItems(const Value &value) {
    const auto *list = value.as<ListPtr>();
    if (!list)
        return value;
    std::vector<Value> items;
    for (const auto &item : (*list)->items)
        items.push_back(follow(item));
    return Value::list(std::move(items));
}

Value Interpreter::evaluate(const Expression &expression) {
    try {
        return got(expression, evaluateForm(expression));
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = expression.range;
        throw;
    }
}

Value Interpreter::specify(const Expression &expression) {
    try {
        return evaluateForm(expression);
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = expression.range;
        throw;
    }
}

// A description written here is asked for; one that a variable holds stays a reference.
Value Interpreter::got(const Expression &expression, Value value) {
    if (!expression.as<Property>() && !expression.as<Element>())
        return value;
    const auto *specifier = value.as<SpecifierPtr>();
    if (!specifier || (*specifier)->form == Specifier::Form::application || !applicationOf(**specifier))
        return value;
    return get(*specifier);
}

Value Interpreter::data(const Expression &expression) {
    Value value = follow(evaluate(expression));
    if (value.isNothing())
        failNoResult(expression);
    return value;
}

Value Interpreter::evaluateForm(const Expression &expression) {
    checkStack();
    return std::visit(Overloaded{
                          [&](const Literal &form) { return form.value; },
                          [&](const Variable &form) { return evaluateVariable(form); },
                          [&](const Chain &form) { return evaluateChain(form); },
                          [&](const Binary &form) { return evaluateBinary(form); },
                          [&](const Property &form) { return specifyProperty(form); },
                          [&](const Element &form) { return specifyElement(form); },
                          [&](const Call &form) { return call(form); },
                          [&](const Command &form) { return command(form); },
                          [&](const Parenthesized &form) { return evaluate(*form.inner); },
                          [&](const Special &form) { return evaluateSpecial(form); },
                          [&](const Coercion &form) { return evaluateCoercion(form); },
                          [&](const ReferenceTo &form) { return evaluateReferenceTo(form); },
                          [&](const Not &form) { return Value(!condition(*form.operand)); },
                          [&](const Negation &form) { return evaluateNegation(form); },
                          [&](const ListExpression &form) { return evaluateList(form); },
                          [&](const RecordExpression &form) { return evaluateRecord(form); },
                      },
                      expression.form);
}

Value Interpreter::evaluateNegation(const Negation &negation) {
    const Value number = coerce(data(*negation.operand), u"number"_s, m_rules);
    if (!negation.negative)
        return number;
    const auto *integer = number.as<qint64>();
    return integer ? Value(-*integer) : Value(-number.toDouble());
}

Value Interpreter::evaluateList(const ListExpression &list) {
    std::vector<Value> items;
    const Restore target(m_frame->target);
    if (list.container)
        m_frame->target = specify(*list.container);
    for (const auto &item : list.items) {
        items.push_back(evaluate(*item));
        if (items.back().isNothing())
            failNoResult(*item);
    }
    return Value::list(std::move(items));
}

Value Interpreter::evaluateRecord(const RecordExpression &record) {
    std::vector<std::pair<Name, Value>> fields;
    for (const auto &[name, field] : record.fields)
        fields.emplace_back(name, data(*field));
    return Value::record(std::move(fields));
}

Value Interpreter::evaluateVariable(const Variable &variable) {
    const auto found = find(variable.name.key);
    if (found && !found->isNothing())
        return *found;
    ScriptPtr owner = m_frame->me;
    if (const auto handler = findHandler(owner, variable.name.key))
        return HandlerPtr(handler);
    throw ScriptError{error::UNDEFINED_VARIABLE, u"The variable %1 is not defined."_s.arg(variable.name.spelling)};
}

Value Interpreter::evaluateSpecial(const Special &special) {
    switch (special.kind) {
    case Special::Kind::me:
        return m_frame->me;
    case Special::Kind::it:
        return m_frame->target.isNothing() ? Value(m_frame->me) : m_frame->target;
    case Special::Kind::appleScript:
        return Constant{u"AppleScript"_s};
    case Special::Kind::currentApplication:
        return Constant{u"current application"_s};
    case Special::Kind::result:
        break;
    }
    if (m_frame->result.isNothing())
        throw ScriptError{error::UNDEFINED_VARIABLE, u"The variable result is not defined."_s};
    return m_frame->result;
}

Value Interpreter::evaluateReferenceTo(const ReferenceTo &reference) {
    const Expression &target = *reference.target;
    if (const auto *variable = target.as<Variable>()) {
        Specifier made;
        made.form = Specifier::Form::variable;
        made.name = variable->name.spelling;
        made.variable = place(variable->name.key);
        return Value::specifier(std::move(made));
    }
    if (const auto *element = target.as<Element>(); element && element->container) {
        Specifier made = describe(*element);
        made.container = specify(*element->container);
        return Value::specifier(std::move(made));
    }
    if (const auto *property = target.as<Property>(); property && property->container)
        return propertyOf(property->name.spelling, specify(*property->container));
    return specify(target);
}

Value Interpreter::evaluateCoercion(const Coercion &coercion) {
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
        const auto *name = wanted.as<ClassName>();
        if (!name)
            failCoercion(wanted, u"class"_s);
        if (name->name == u"date" && value.is<QString>()) {
            if (const auto date = parseDate(*value.as<QString>(), m_host.system().now()))
                return Value::date(*date);
        }
        if (auto made = tryCoerce(name->name == u"text" ? followItems(value) : value, name->name, m_rules))
            return *made;
    }
    const auto *last = types.empty() ? nullptr : types.back().as<ClassName>();
    failCoercion(value, last ? last->name : u"class"_s);
}

// ---- Operators

Value Interpreter::evaluateChain(const Chain &chain) {
    const auto logical = chain.steps.front().operation;
    if (logical == Operator::logicalAnd || logical == Operator::logicalOr) {
        const bool stops = logical == Operator::logicalOr;
        if (condition(*chain.first) == stops)
            return stops;
        for (const auto &step : chain.steps) {
            if (condition(*step.operand) == stops)
                return stops;
        }
        return !stops;
    }
    Value left = data(*chain.first);
    for (const auto &step : chain.steps) {
        const Value right = data(*step.operand);
        left = step.operation == Operator::concatenate ? concatenate(left, right)
                                                       : evaluateArithmetic(step.operation, left, right);
    }
    return left;
}

Value Interpreter::concatenate(const Value &left, const Value &right) {
    if (const auto *text = left.as<QString>()) {
        if (right.is<ListPtr>())
            return *text + toText(followItems(right), m_rules);
        if (const auto made = tryCoerce(right, u"text"_s, m_rules))
            return *text + *made->as<QString>();
    }
    const auto *a = left.as<RecordPtr>(), *b = right.as<RecordPtr>();
    if (a && b) {
        auto fields = (*a)->fields;
        for (const auto &field : (*b)->fields) {
            if (!(*a)->find(field.first.key))
                fields.push_back(field);
        }
        return Value::record(std::move(fields));
    }
    std::vector<Value> items;
    for (const Value *side : {&left, &right}) {
        const Value list = coerce(*side, u"list"_s, m_rules);
        const auto &more = (*list.as<ListPtr>())->items;
        items.insert(items.end(), more.begin(), more.end());
    }
    return Value::list(std::move(items));
}

Value Interpreter::evaluateArithmetic(Operator operation, const Value &left, const Value &right) {
    if (const auto *date = left.as<DatePtr>()) {
        if (const auto *other = right.as<DatePtr>(); other && operation == Operator::subtract)
            return Value::number((*other)->time.secsTo((*date)->time));
        const qint64 seconds = toInteger(right, m_rules);
        if (operation == Operator::add || operation == Operator::subtract)
            return Value::date((*date)->time.addSecs(operation == Operator::add ? seconds : -seconds));
    }
    const Value a = coerce(left, u"number"_s, m_rules), b = coerce(right, u"number"_s, m_rules);
    const double x = a.toDouble(), y = b.toDouble();
    const bool divides =
        operation == Operator::divide || operation == Operator::integerDivide || operation == Operator::modulo;
    if (divides && y == 0)
        throw ScriptError{error::DIVIDE_BY_ZERO, u"Can’t divide %1 by zero."_s.arg(formatSource(a))};
    const auto *i = a.as<qint64>(), *j = b.as<qint64>();
    const bool integers = i && j;
    switch (operation) {
    case Operator::add:
        return integers ? Value::number(*i + *j) : Value(x + y);
    case Operator::subtract:
        return integers ? Value::number(*i - *j) : Value(x - y);
    case Operator::multiply:
        return integers ? Value::number(*i * *j) : Value(x * y);
    case Operator::divide:
        return x / y;
    case Operator::modulo:
        return integers ? Value::number(*i % *j) : Value(std::fmod(x, y));
    default:
        break;
    }
    const double quotient = std::trunc(x / y);
    return std::fabs(quotient) <= 536870911 ? Value(qint64(quotient)) : Value(quotient);
}

Value Interpreter::evaluateBinary(const Binary &binary) {
    const auto operation = binary.operation;
    if (operation == Operator::equal || operation == Operator::notEqual)
        return evaluateEquality(binary) == (operation == Operator::equal);
    const Value left = data(*binary.left), right = data(*binary.right);
    switch (operation) {
    case Operator::power:
        return std::pow(toNumber(left, m_rules), toNumber(right, m_rules));
    case Operator::less:
        return compareValues(left, right, m_rules) < 0;
    case Operator::greater:
        return compareValues(left, right, m_rules) > 0;
    case Operator::lessOrEqual:
        return compareValues(left, right, m_rules) <= 0;
    case Operator::greaterOrEqual:
        return compareValues(left, right, m_rules) >= 0;
    case Operator::notContains:
        return !holds(Position::anywhere, followItems(left), followItems(right), m_rules);
    case Operator::isIn:
        return holds(Position::anywhere, followItems(right), followItems(left), m_rules);
    case Operator::isNotIn:
        return !holds(Position::anywhere, followItems(right), followItems(left), m_rules);
    case Operator::startsWith:
        return holds(Position::atStart, followItems(left), followItems(right), m_rules);
    case Operator::endsWith:
        return holds(Position::atEnd, followItems(left), followItems(right), m_rules);
    default: // contains
        return holds(Position::anywhere, followItems(left), followItems(right), m_rules);
    }
}

// A reference is not what it refers to: `contents of` makes it that.
bool Interpreter::evaluateEquality(const Binary &binary) {
    const Value left = evaluate(*binary.left), right = evaluate(*binary.right);
    if (left.isNothing())
        failNoResult(*binary.left);
    if (right.isNothing())
        failNoResult(*binary.right);
    return areEqual(left, right, m_rules);
}

// ---- References

Value Interpreter::specifyProperty(const Property &property) {
    if (!property.container)
        return bareProperty(property);
    const Value container = specify(*property.container);
    if (container.isNothing())
        failNoResult(*property.container);
    Specifier part;
    part.name = property.term ? property.name.spelling : property.name.spelling;
    return partOf(container, std::move(part));
}

// A term on its own: a variable of that name, a constant of the language, or a property of the target.
Value Interpreter::bareProperty(const Property &property) {
    const QString &key = property.name.key;
    if (const auto found = find(key); found && !found->isNothing())
        return *found;
    static constexpr std::pair<QStringView, qint64> lengths[] = {
        {u"minutes", 60}, {u"hours", 3600}, {u"days", 86400}, {u"weeks", 604800}};
    for (const auto &[name, seconds] : lengths) {
        if (key == name)
            return seconds;
    }
    if (key == u"text item delimiters")
        return m_delimiters;
    Specifier part;
    part.name = property.name.spelling;
    if (!m_frame->target.isNothing() && !m_frame->target.is<ScriptPtr>())
        return partOf(m_frame->target, std::move(part));
    if (key == u"class")
        return ClassName{u"class"_s};
    throw ScriptError{error::UNDEFINED_VARIABLE, u"The variable %1 is not defined."_s.arg(property.name.spelling)};
}

Specifier Interpreter::describe(const Element &element) {
    Specifier part;
    part.form = element.form;
    part.name = element.className;
    if (element.key)
        part.key = data(*element.key);
    if (element.last)
        part.last = data(*element.last);
    if (part.form == Specifier::Form::index && part.key.is<QString>())
        part.form = Specifier::Form::named;
    if (!element.test)
        return part;
    auto filter = std::make_shared<Filter>();
    const Range range = element.test->range;
    filter->written = m_text.mid(range.start, range.end - range.start);
    filter->accepts = [this, alive = std::weak_ptr(m_alive), test = element.test.get(), written = filter->written,
                       frame = m_frame](const Value &candidate) {
        // `run script` may give back a reference; its test ends with the script it stands in.
        if (alive.expired())
            throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t test “%1”: its script has ended."_s.arg(written)};
        const auto before = std::exchange(m_frame, frame);
        const Value target = std::exchange(m_frame->target, candidate);
        const auto restore = [&] {
            m_frame->target = target;
            m_frame = before;
        };
        try {
            const bool accepted = condition(*test);
            restore();
            return accepted;
        } catch (...) {
            restore();
            throw;
        }
    };
    part.filter = std::move(filter);
    return part;
}

Value Interpreter::specifyElement(const Element &element) {
    Specifier part = describe(element);
    if (auto root = rootElement(element, part.key))
        return *root;
    if (auto text = element.container ? std::nullopt : textOfCodePoints(part))
        return *text;
    Value container;
    if (element.container) {
        container = specify(*element.container);
        if (container.isNothing())
            failNoResult(*element.container);
    } else {
        container = m_frame->target;
    }
    if (container.isNothing())
        failToGet(part);
    return partOf(container, std::move(part));
}

// Elements that need nothing around them: applications, dates and files.
std::optional<Value> Interpreter::rootElement(const Element &element, const Value &key) {
    const QString &name = element.className;
    if (name == u"application" && !element.container)
        return resolveApplication(key, element.form == Specifier::Form::byId);
    if (name == u"date" && key.is<QString>()) {
        const auto day = element.container ? data(*element.container) : Value();
        const auto *base = day.as<DatePtr>();
        const auto date = parseDate(*key.as<QString>(), base ? (*base)->time : m_host.system().now());
        if (!date)
            throw ScriptError{error::GENERAL, u"Invalid date and time %1."_s.arg(formatSource(key))};
        return Value::date(*date);
    }
    if (element.container || !key.is<QString>())
        return std::nullopt;
    const QString &path = *key.as<QString>();
    if (name == u"POSIX file")
        return FileReference{FileReference::Kind::file, path};
    if (name == u"file" || name == u"alias")
        return FileReference{name == u"alias" ? FileReference::Kind::alias : FileReference::Kind::file,
                             fromColonPath(path)};
    return std::nullopt;
}

} // namespace ombru::applescript
