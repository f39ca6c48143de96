#include "applescript/run/Operators.h"

#include "applescript/values/Coercion.h"
#include "applescript/values/Errors.h"
#include "applescript/values/Format.h"

#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// date ± seconds, date - date; nothing when it is none of these.
std::optional<Value> calculatedDate(Operator operation, const Date &date, const Value &right, const TextRules &rules) {
    if (const auto *other = right.as<DatePtr>(); other && operation == Operator::subtract)
        return Value::number((*other)->time.secsTo(date.time));
    const qint64 seconds = toInteger(right, rules);
    if (operation != Operator::add && operation != Operator::subtract)
        return std::nullopt;
    return Value::date(date.time.addSecs(operation == Operator::add ? seconds : -seconds));
}

bool divides(Operator operation) {
    return operation == Operator::divide || operation == Operator::integerDivide || operation == Operator::modulo;
}

} // namespace

Value calculated(Operator operation, const Value &left, const Value &right, const TextRules &rules) {
    if (const auto *date = left.as<DatePtr>()) {
        if (auto made = calculatedDate(operation, **date, right, rules))
            return *made;
    }
    const Value a = coerce(left, u"number"_s, rules), b = coerce(right, u"number"_s, rules);
    const double x = a.toDouble(), y = b.toDouble();
    if (divides(operation) && y == 0)
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

Value negated(const Value &value, const TextRules &rules) {
    const Value number = coerce(value, u"number"_s, rules);
    const auto *integer = number.as<qint64>();
    return integer ? Value(-*integer) : Value(-number.toDouble());
}

Value concatenated(const Value &left, const Value &right, const TextRules &rules) {
    if (const auto *text = left.as<QString>()) {
        if (right.is<ListPtr>())
            return *text + toText(right, rules);
        if (const auto made = tryCoerce(right, u"text"_s, rules))
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
        const Value list = coerce(*side, u"list"_s, rules);
        const auto &more = (*list.as<ListPtr>())->items;
        items.insert(items.end(), more.begin(), more.end());
    }
    return Value::list(std::move(items));
}

bool looksInside(Operator operation) {
    using enum Operator;
    return operation == contains || operation == notContains || operation == isIn || operation == isNotIn ||
           operation == startsWith || operation == endsWith;
}

Value compared(Operator operation, const Value &left, const Value &right, const TextRules &rules) {
    switch (operation) {
    case Operator::power:
        return std::pow(toNumber(left, rules), toNumber(right, rules));
    case Operator::less:
        return compareValues(left, right, rules) < 0;
    case Operator::greater:
        return compareValues(left, right, rules) > 0;
    case Operator::lessOrEqual:
        return compareValues(left, right, rules) <= 0;
    case Operator::greaterOrEqual:
        return compareValues(left, right, rules) >= 0;
    case Operator::notContains:
        return !holds(Position::anywhere, left, right, rules);
    case Operator::isIn:
        return holds(Position::anywhere, right, left, rules);
    case Operator::isNotIn:
        return !holds(Position::anywhere, right, left, rules);
    case Operator::startsWith:
        return holds(Position::atStart, left, right, rules);
    case Operator::endsWith:
        return holds(Position::atEnd, left, right, rules);
    default: // contains
        return holds(Position::anywhere, left, right, rules);
    }
}

} // namespace ombru::applescript
