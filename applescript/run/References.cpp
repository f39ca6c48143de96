#include "applescript/run/References.h"

#include "applescript/run/Interpreter.h"
#include "applescript/run/Restore.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

QString References::written(const Expression &expression) const {
    return m_text.mid(expression.range.start, expression.range.end - expression.range.start);
}

Value References::get(const SpecifierPtr &specifier) {
    return m_run.events().send({*applicationOf(*specifier), u"get"_s, specifier, {}});
}

Value References::property(const Property &property) {
    if (!property.container)
        return bareProperty(property);
    const Value container = m_run.expressions().specify(*property.container);
    if (container.isNothing())
        failNoResult(*property.container);
    Specifier part;
    part.name = property.name.spelling;
    return m_run.parts().of(container, std::move(part));
}

// A term on its own: a variable of that name, a constant of the language, or a property of the target.
Value References::bareProperty(const Property &property) {
    const QString &key = property.name.key;
    if (const auto found = m_run.scopes().find(key); found && !found->isNothing())
        return *found;
    static constexpr std::pair<QStringView, qint64> LENGTHS[] = {
        {u"minutes", 60}, {u"hours", 3600}, {u"days", 86400}, {u"weeks", 604800}};
    for (const auto &[name, seconds] : LENGTHS) {
        if (key == name)
            return seconds;
    }
    if (key == u"text item delimiters")
        return m_run.considerations().delimiters();
    const Value &target = m_run.scopes().frame().target;
    Specifier part;
    part.name = property.name.spelling;
    if (!target.isNothing() && !target.is<ScriptPtr>())
        return m_run.parts().of(target, std::move(part));
    if (key == u"class")
        return ClassName{u"class"_s};
    throw ScriptError{error::UNDEFINED_VARIABLE, u"The variable %1 is not defined."_s.arg(property.name.spelling)};
}

Specifier References::describe(const Element &element) {
    Specifier part;
    part.form = element.form;
    part.name = element.className;
    if (element.key)
        part.key = m_run.data(*element.key);
    if (element.last)
        part.last = m_run.data(*element.last);
    if (part.form == Specifier::Form::index && part.key.is<QString>())
        part.form = Specifier::Form::named;
    if (element.test)
        part.filter = filterOf(*element.test);
    return part;
}

// Bound to the frame it is written in. `run script` may give back a reference; its test ends with the script.
std::shared_ptr<const Filter> References::filterOf(const Expression &test) {
    auto filter = std::make_shared<Filter>();
    filter->written = written(test);
    filter->accepts = [this, alive = std::weak_ptr(m_alive), &test, text = filter->written,
                       frame = m_run.scopes().current()](const Value &candidate) {
        if (alive.expired())
            throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t test “%1”: its script has ended."_s.arg(text)};
        const Scopes::Entered entered(m_run.scopes(), frame);
        return accepts(test, candidate);
    };
    return filter;
}

bool References::accepts(const Expression &test, const Value &candidate) {
    const auto frame = m_run.scopes().current();
    const Restore<Value> restore(frame->target);
    frame->target = candidate;
    return m_run.expressions().condition(test);
}

Value References::element(const Element &element) {
    Specifier part = describe(element);
    if (auto root = rootElement(element, part.key))
        return *root;
    if (auto text = element.container ? std::nullopt : m_run.parts().textOfCodePoints(part))
        return *text;
    Value container;
    if (element.container) {
        container = m_run.expressions().specify(*element.container);
        if (container.isNothing())
            failNoResult(*element.container);
    } else {
        container = m_run.scopes().frame().target;
    }
    if (container.isNothing())
        failMissing(part);
    return m_run.parts().of(container, std::move(part));
}

// Elements that need nothing around them: applications, dates and files.
std::optional<Value> References::rootElement(const Element &element, const Value &key) {
    const QString &name = element.className;
    if (name == u"application" && !element.container) {
        const QString called = toText(m_run.follow(key), m_run.rules());
        return applicationValue(m_run.events().application(called, element.form == Specifier::Form::byId));
    }
    if (!key.is<QString>())
        return std::nullopt;
    if (name == u"date")
        return dateElement(element, key);
    if (element.container)
        return std::nullopt;
    const QString &path = *key.as<QString>();
    if (name == u"POSIX file")
        return FileReference{FileReference::Kind::file, path};
    if (name == u"file" || name == u"alias")
        return FileReference{name == u"alias" ? FileReference::Kind::alias : FileReference::Kind::file,
                             fromColonPath(path)};
    return std::nullopt;
}

// date "2:30 PM" of a day, or of today
std::optional<Value> References::dateElement(const Element &element, const Value &key) {
    const auto day = element.container ? m_run.data(*element.container) : Value();
    const auto *base = day.as<DatePtr>();
    const auto date = parseDate(*key.as<QString>(), base ? (*base)->time : m_run.host().system().now());
    if (!date)
        throw ScriptError{error::GENERAL, u"Invalid date and time %1."_s.arg(formatSource(key))};
    return Value::date(*date);
}

Value References::to(const ReferenceTo &reference) {
    const Expression &target = *reference.target;
    if (const auto *variable = target.as<Variable>()) {
        Specifier made;
        made.form = Specifier::Form::variable;
        made.name = variable->name.spelling;
        made.variable = m_run.scopes().place(variable->name.key);
        return Value::specifier(std::move(made));
    }
    auto &expressions = m_run.expressions();
    if (const auto *element = target.as<Element>(); element && element->container) {
        Specifier made = describe(*element);
        made.container = expressions.specify(*element->container);
        return Value::specifier(std::move(made));
    }
    if (const auto *property = target.as<Property>(); property && property->container)
        return propertyOf(property->name.spelling, expressions.specify(*property->container));
    return expressions.specify(target);
}

} // namespace ombru::applescript
