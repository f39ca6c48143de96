// `set` and `copy`: to variables, patterns, properties, elements and the ends of lists.
#include "applescript/run/Interpreter.h"
#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {
[[noreturn]] void failToSet(const QString &what, const Value &value) {
    throw ScriptError{error::CANNOT_SET, u"Can’t set %1 to %2."_s.arg(what, formatSource(value))};
}
} // namespace

void Interpreter::assign(const Expression &target, const Value &value) {
    try {
        if (const auto *variable = target.as<Variable>())
            *place(variable->name.key) = value;
        else if (const auto *list = target.as<ListExpression>())
            assignPattern(*list, follow(value));
        else if (const auto *property = target.as<Property>())
            assignProperty(*property, value);
        else if (const auto *element = target.as<Element>())
            assignElement(*element, value);
        else if (const auto *paren = target.as<Parenthesized>())
            assign(*paren->inner, value);
        else if (const auto *record = target.as<RecordExpression>()) {
            for (const auto &[name, part] : record->fields)
                assign(*part, propertyOfData(follow(value), name.spelling));
        } else
            failToSet(m_text.mid(target.range.start, target.range.end - target.range.start), value);
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = target.range;
        throw;
    }
}

void Interpreter::assignPattern(const ListExpression &pattern, const Value &value) {
    const auto *list = value.as<ListPtr>();
    if (!list)
        failCoercion(value, u"list"_s);
    // What is assigned may be the very list that is assigned to.
    const auto items = (*list)->items;
    const Restore target(m_frame->target);
    if (pattern.container)
        m_frame->target = specify(*pattern.container);
    for (std::size_t i = 0; i < pattern.items.size(); ++i) {
        if (i >= items.size())
            throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get item %1 of %2."_s.arg(i + 1).arg(formatSource(value))};
        assign(*pattern.items[i], items[i]);
    }
}

void Interpreter::setDelimiters(const Value &value) {
    const Value followed = follow(value);
    QStringList delimiters;
    if (const auto *list = followed.as<ListPtr>()) {
        for (const auto &item : (*list)->items)
            delimiters.append(toText(follow(item), m_rules));
    } else {
        delimiters.append(followed.isMissing() ? QString() : toText(followed, m_rules));
    }
    if (delimiters.isEmpty())
        delimiters.append(QString());
    m_delimiters = followed;
    m_rules.delimiters = delimiters;
}

void Interpreter::assignProperty(const Property &property, const Value &value) {
    const QString &key = property.name.key;
    Specifier part;
    part.name = property.name.spelling;
    if (property.container) {
        if (key == u"contents") {
            const Value reference = specify(*property.container);
            if (const auto *specifier = reference.as<SpecifierPtr>()) {
                if ((*specifier)->form == Specifier::Form::variable)
                    *(*specifier)->variable = value;
                else
                    setPart((*specifier)->container, **specifier, value);
                return;
            }
            return assign(*property.container, value);
        }
        return setPart(specify(*property.container), part, value);
    }
    if (find(key)) {
        *place(key) = value;
        return;
    }
    if (key == u"text item delimiters")
        return setDelimiters(value);
    if (m_frame->target.isNothing() || m_frame->target.is<ScriptPtr>()) {
        *place(key) = value;
        return;
    }
    setPart(m_frame->target, part, value);
}

void Interpreter::assignElement(const Element &element, const Value &value) {
    const Specifier part = describe(element);
    const Value container = element.container ? specify(*element.container) : m_frame->target;
    if (container.isNothing())
        failToSet(formatReference(part, true), value);
    setPart(container, part, value);
}

void Interpreter::setPart(const Value &container, const Specifier &part, const Value &value) {
    const Value whole = follow(container);
    const QString key = part.name.toLower();
    const bool property = part.form == Specifier::Form::property;
    if (const auto *specifier = whole.as<SpecifierPtr>()) {
        Specifier target = part;
        target.container = whole;
        m_events->send({*applicationOf(**specifier), u"set"_s, Value::specifier(target), {{u"to"_s, follow(value)}}});
        return;
    }
    if (const auto *list = whole.as<ListPtr>(); list && !property)
        return setListElement(**list, part, value);
    if (const auto *record = whole.as<RecordPtr>(); record && property) {
        if (Value *field = (*record)->find(key)) {
            *field = value;
            return;
        }
    }
    if (const auto *date = whole.as<DatePtr>(); date && property)
        return setDate(**date, key, follow(value));
    if (const auto *script = whole.as<ScriptPtr>(); script && property) {
        for (ScriptPtr owner = *script; owner;) {
            if (const auto found = owner->properties.value(key)) {
                *found = value;
                return;
            }
            const auto *parent = owner->parent.as<ScriptPtr>();
            owner = parent ? *parent : nullptr;
        }
        if (key == u"text item delimiters")
            return setDelimiters(value);
        (*script)->properties.insert(key, std::make_shared<Value>(value));
        return;
    }
    if (const auto *constant = whole.as<Constant>();
        constant && constant->name == u"AppleScript" && key == u"text item delimiters")
        return setDelimiters(value);
    Specifier target = part;
    target.container = whole;
    failToSet(formatReference(target, true), value);
}

void Interpreter::setListElement(List &list, const Specifier &part, const Value &value) {
    using enum Specifier::Form;
    if (part.form == end) {
        list.items.push_back(value);
        return;
    }
    if (part.form == beginning) {
        list.items.insert(list.items.begin(), value);
        return;
    }
    const qint64 size = qint64(list.items.size());
    qint64 at = part.form == index ? toInteger(follow(part.key), m_rules) : part.form == middle ? (size + 1) / 2 : 0;
    if (at < 0)
        at += size + 1;
    if (at < 1 || at > size || part.name != u"item")
        throw ScriptError{error::NO_SUCH_OBJECT,
                          u"Can’t set %1 of %2 to %3."_s.arg(
                              formatReference(part, true), formatSource(Value::list(list.items)), formatSource(value))};
    list.items[std::size_t(at - 1)] = value;
}

void Interpreter::setDate(Date &date, const QString &name, const Value &value) {
    const qint64 number = toInteger(value, m_rules);
    const QDate day = date.time.date();
    const QTime time = date.time.time();
    const auto at = [&](qint64 hours, qint64 minutes, qint64 seconds) {
        date.time = QDateTime(day, QTime(0, 0)).addSecs(hours * 3600 + minutes * 60 + seconds);
    };
    // A day that the month does not have rolls over into the next one.
    const auto on = [&](qint64 year, qint64 month, qint64 dayOfMonth) {
        const QDate first = QDate(int(year), 1, 1).addMonths(int(month - 1));
        date.time = QDateTime(first.addDays(dayOfMonth - 1), time);
    };
    if (name == u"year")
        on(number, day.month(), day.day());
    else if (name == u"month")
        on(day.year(), number, day.day());
    else if (name == u"day")
        on(day.year(), day.month(), number);
    else if (name == u"hours")
        at(number, time.minute(), time.second());
    else if (name == u"minutes")
        at(time.hour(), number, time.second());
    else if (name == u"seconds")
        at(time.hour(), time.minute(), number);
    else if (name == u"time")
        at(0, 0, number);
    else
        failToSet(name + u" of "_s + formatSource(Value::date(date.time)), value);
}

} // namespace ombru::applescript
