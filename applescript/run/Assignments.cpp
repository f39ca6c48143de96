#include "applescript/run/Assignments.h"

#include "applescript/run/DateProperties.h"
#include "applescript/run/Interpreter.h"
#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView DELIMITERS = u"text item delimiters";

[[noreturn]] void failToSet(const QString &what, const Value &value) {
    throw ScriptError{error::CANNOT_SET, u"Can’t set %1 to %2."_s.arg(what, formatSource(value))};
}

} // namespace

void Assignments::assign(const Expression &target, const Value &value) {
    try {
        toForm(target, value);
    } catch (ScriptError &error) {
        if (!error.range)
            error.range = target.range;
        throw;
    }
}

void Assignments::toForm(const Expression &target, const Value &value) {
    if (const auto *variable = target.as<Variable>()) {
        *m_run.scopes().place(variable->name.key) = value;
    } else if (const auto *list = target.as<ListExpression>()) {
        toPattern(*list, m_run.follow(value));
    } else if (const auto *property = target.as<Property>()) {
        toProperty(*property, value);
    } else if (const auto *element = target.as<Element>()) {
        toElement(*element, value);
    } else if (const auto *paren = target.as<Parenthesized>()) {
        assign(*paren->inner, value);
    } else if (const auto *record = target.as<RecordExpression>()) {
        for (const auto &[name, part] : record->fields)
            assign(*part, m_run.parts().property(m_run.follow(value), name.spelling));
    } else {
        failToSet(m_run.references().written(target), value);
    }
}

void Assignments::toPattern(const ListExpression &pattern, const Value &value) {
    const auto *list = value.as<ListPtr>();
    if (!list)
        failCoercion(value, u"list"_s);
    // What is assigned may be the very list that is assigned to.
    const auto items = (*list)->items;
    auto &frame = m_run.scopes().frame();
    const Restore target(frame.target);
    if (pattern.container)
        frame.target = m_run.expressions().specify(*pattern.container);
    for (std::size_t i = 0; i < pattern.items.size(); ++i) {
        if (i >= items.size())
            throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get item %1 of %2."_s.arg(i + 1).arg(formatSource(value))};
        assign(*pattern.items[i], items[i]);
    }
}

void Assignments::toProperty(const Property &property, const Value &value) {
    const QString &key = property.name.key;
    Specifier part;
    part.name = property.name.spelling;
    if (property.container) {
        if (key == u"contents")
            return toContents(*property.container, value);
        return toPart(m_run.expressions().specify(*property.container), part, value);
    }
    auto &scopes = m_run.scopes();
    const bool variable = scopes.find(key) != nullptr;
    if (!variable && key == DELIMITERS)
        return m_run.considerations().setDelimiters(value, m_run);
    const Value &target = scopes.frame().target;
    if (variable || target.isNothing() || target.is<ScriptPtr>()) {
        *scopes.place(key) = value;
        return;
    }
    toPart(target, part, value);
}

// set contents of R to ...: what the reference stands for changes, not the variable that holds it.
void Assignments::toContents(const Expression &reference, const Value &value) {
    const Value held = m_run.expressions().specify(reference);
    const auto *specifier = held.as<SpecifierPtr>();
    if (!specifier)
        assign(reference, value);
    else if ((*specifier)->form == Specifier::Form::variable)
        *(*specifier)->variable = value;
    else
        toPart((*specifier)->container, **specifier, value);
}

void Assignments::toElement(const Element &element, const Value &value) {
    const Specifier part = m_run.references().describe(element);
    const Value container =
        element.container ? m_run.expressions().specify(*element.container) : m_run.scopes().frame().target;
    if (container.isNothing())
        failToSet(formatReference(part, true), value);
    toPart(container, part, value);
}

void Assignments::toPart(const Value &container, const Specifier &part, const Value &value) {
    const Value whole = m_run.follow(container);
    const bool property = part.form == Specifier::Form::property;
    Specifier target = part;
    target.container = whole;
    if (const auto *specifier = whole.as<SpecifierPtr>()) {
        m_run.events().send(
            {*applicationOf(**specifier), u"set"_s, Value::specifier(target), {{u"to"_s, m_run.follow(value)}}});
        return;
    }
    if (const auto *list = whole.as<ListPtr>(); list && !property)
        return toList(**list, part, value);
    if (!property || !toOwnProperty(whole, part.name.toLower(), value))
        failToSet(formatReference(target, true), value);
}

// Of a record, a date, a script object or AppleScript itself; false when the value has nothing to set by that name.
bool Assignments::toOwnProperty(const Value &whole, const QString &key, const Value &value) {
    if (const auto *record = whole.as<RecordPtr>()) {
        Value *field = (*record)->find(key);
        if (field)
            *field = value;
        return field != nullptr;
    }
    if (const auto *date = whole.as<DatePtr>()) {
        toDate(**date, key, m_run.follow(value));
        return true;
    }
    if (const auto *script = whole.as<ScriptPtr>()) {
        toScript(*script, key, value);
        return true;
    }
    const auto *constant = whole.as<Constant>();
    if (!constant || constant->name != u"AppleScript" || key != DELIMITERS)
        return false;
    m_run.considerations().setDelimiters(value, m_run);
    return true;
}

void Assignments::toDate(Date &date, const QString &key, const Value &value) {
    const qint64 number = toInteger(value, m_run.rules());
    const auto *row = dateProperty(key);
    if (!row || !row->write)
        failToSet(key + u" of "_s + formatSource(Value::date(date.time)), value);
    date.time = row->write(date.time, number);
}

void Assignments::toScript(const ScriptPtr &script, const QString &key, const Value &value) {
    if (const auto found = findProperty(script, key))
        *found = value;
    else if (key == DELIMITERS)
        m_run.considerations().setDelimiters(value, m_run);
    else
        script->properties.insert(key, std::make_shared<Value>(value));
}

void Assignments::toList(List &list, const Specifier &part, const Value &value) {
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
    qint64 at = part.form == index    ? toInteger(m_run.follow(part.key), m_run.rules())
                : part.form == middle ? (size + 1) / 2
                                      : 0;
    if (at < 0)
        at += size + 1;
    if (at < 1 || at > size || part.name != u"item")
        throw ScriptError{error::NO_SUCH_OBJECT,
                          u"Can’t set %1 of %2 to %3."_s.arg(
                              formatReference(part, true), formatSource(Value::list(list.items)), formatSource(value))};
    list.items[std::size_t(at - 1)] = value;
}

} // namespace ombru::applescript
