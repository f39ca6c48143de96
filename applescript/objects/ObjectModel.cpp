#include "applescript/objects/ObjectModel.h"

#include "applescript/run/Need.h"
#include "applescript/run/Selection.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

void failToGet(const Specifier &part, int number) {
    QString message = u"Can’t get %1."_s.arg(formatReference(part, false));
    if (number == error::INVALID_INDEX)
        message += u" Invalid index."_s;
    throw ScriptError{number, message};
}

// Neither an empty list nor "it is not there": who hears those takes them for what is on the screen.
void failToRead(const Specifier &part) {
    throw ScriptError{
        error::NOT_UNDERSTOOD,
        u"Can’t get %1: this computer can’t read what windows and menus hold. Look at the screenshot, and "
        "click at a position."_s.arg(formatReference(part, false))};
}

void failNotUnderstood(const Value &object, const QString &command) {
    throw ScriptError{error::NOT_UNDERSTOOD,
                      u"%1 doesn’t understand the “%2” message."_s.arg(formatSource(object), command)};
}

const Windows &ObjectModel::windows() const {
    return *need(m_context.host().windows());
}

Held<Windows> ObjectModel::windowsToChange() const {
    return need(m_context.host().windowsToChange());
}

const std::vector<ProcessInfo> &ObjectModel::processes() const {
    if (!m_processes)
        m_processes = need(windows().processes());
    return *m_processes;
}

Value ObjectModel::perform(const Event &event) {
    const auto *specifier = event.direct.as<SpecifierPtr>();
    if (event.command == u"get" && specifier)
        return get(**specifier);
    if (event.command == u"set" && specifier) {
        set(**specifier, *event.parameter(u"to"));
        return *event.parameter(u"to");
    }
    if (event.command == u"exists" && specifier)
        return exists(**specifier);
    return command(event);
}

// ---- Finding

Objects ObjectModel::resolve(const Specifier &specifier) {
    if (specifier.form == Specifier::Form::application)
        return {ObjectPtr(ObjectPtr(), &root())}; // which lives as long as the model
    const Specifier *outer = specifier.containerSpecifier();
    if (!outer || specifier.form == Specifier::Form::property)
        failToGet(specifier);
    Objects found;
    for (const auto &container : resolve(*outer)) {
        for (auto &object : elements(*container, specifier))
            found.push_back(std::move(object));
    }
    return found;
}

ObjectPtr ObjectModel::single(const Value &value) {
    const auto *specifier = value.as<SpecifierPtr>();
    if (!specifier)
        throw ScriptError{error::WRONG_TYPE,
                          u"%1 is not an object of %2."_s.arg(formatSource(value), m_application.name)};
    auto found = resolve(**specifier);
    if (found.empty())
        failToGet(**specifier);
    return found.front();
}

Objects ObjectModel::elements(Object &container, const Specifier &part) {
    if (auto all = container.elements(part.name))
        return choose(container, std::move(*all), part);
    if (part.form == Specifier::Form::named) {
        if (auto element = container.elementNamed(part.name, part.key))
            return {element};
    }
    if (container.hides(part.name))
        failToRead(part);
    failToGet(part);
}

Objects ObjectModel::choose(Object &container, Objects candidates, const Specifier &part) {
    for (const auto &object : candidates) {
        if (part.identity != 0 && object->identity() == part.identity)
            return {object};
    }
    if (part.filter)
        std::erase_if(candidates, [&](const auto &object) { return !part.filter->accepts(object->reference()); });
    if (part.form == Specifier::Form::named || part.form == Specifier::Form::byId)
        return {withNameOrId(container, candidates, part)};
    const auto chosen = stretchOf(part, candidates.size(), m_context);
    if (!chosen)
        failToGet(part, chosen.error() == NoStretch::outside ? error::INVALID_INDEX : error::NO_SUCH_OBJECT);
    return {candidates.begin() + qsizetype(chosen->first), candidates.begin() + qsizetype(chosen->end)};
}

ObjectPtr ObjectModel::withNameOrId(Object &container, const Objects &candidates, const Specifier &part) {
    const bool named = part.form == Specifier::Form::named;
    for (const auto &object : candidates) {
        if (areEqual(named ? Value(object->name()) : object->id(), part.key, m_context.rules()))
            return object;
    }
    auto other = named ? container.elementNamed(part.name, part.key) : nullptr;
    if (!other)
        failToGet(part);
    return other;
}

bool ObjectModel::exists(const Specifier &specifier) {
    try {
        return !resolve(specifier).empty();
    } catch (const ScriptError &error) {
        if (error.number == error::NO_SUCH_OBJECT || error.number == error::INVALID_INDEX)
            return false;
        throw;
    }
}

// ---- Properties

Value ObjectModel::get(const Specifier &specifier) {
    if (specifier.form == Specifier::Form::property)
        return getProperty(specifier);
    const auto objects = resolve(specifier);
    bool plural = specifier.isPlural();
    for (const auto *outer = specifier.containerSpecifier(); outer; outer = outer->containerSpecifier())
        plural = plural || outer->isPlural();
    if (!plural)
        return objects.front()->reference();
    std::vector<Value> values;
    for (const auto &object : objects)
        values.push_back(object->reference());
    return Value::list(std::move(values));
}

Value ObjectModel::getProperty(const Specifier &specifier) {
    const Specifier *outer = specifier.containerSpecifier();
    if (!outer || outer->form == Specifier::Form::property)
        failToGet(specifier);
    const auto objects = resolve(*outer);
    std::vector<Value> values;
    for (const auto &object : objects) {
        values.push_back(object->property(specifier.name));
        if (values.back().isNothing())
            failToGet(specifier);
    }
    const Specifier *around = outer->containerSpecifier();
    const bool plural = outer->isPlural() || (around && around->isPlural());
    return !plural && values.size() == 1 ? values.front() : Value::list(std::move(values));
}

void ObjectModel::set(const Specifier &specifier, const Value &value) {
    const Specifier *outer = specifier.containerSpecifier();
    const bool property = specifier.form == Specifier::Form::property && outer;
    const auto objects = property ? resolve(*outer) : Objects{};
    const auto sets = [&](const auto &object) { return object->setProperty(specifier.name, value); };
    if (!property || !std::ranges::all_of(objects, sets))
        throw ScriptError{error::CANNOT_SET,
                          u"Can’t set %1 to %2."_s.arg(formatReference(specifier, false), formatSource(value))};
}

} // namespace ombru::applescript
