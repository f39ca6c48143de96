#include "applescript/run/Parts.h"

#include "applescript/run/DataProperties.h"
#include "applescript/run/Interpreter.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

bool isTextElement(const QString &name) {
    return name == u"character" || name == u"item" || name == u"word" || name == u"paragraph" || name == u"text item" ||
           name == u"text";
}

// One stretch of text from the first element to the last.
QString across(const QString &text, std::span<const Span> spans) {
    if (spans.empty())
        return {};
    return text.sliced(spans.front().start, spans.back().start + spans.back().length - spans.front().start);
}

} // namespace

void failMissing(const Specifier &part) {
    throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get %1."_s.arg(formatReference(part, true))};
}

void failMissing(const QString &property, const Value &container) {
    Specifier part;
    part.name = property;
    part.container = container;
    failMissing(part);
}

Value Parts::follow(Value value) {
    while (const auto *reference = value.as<SpecifierPtr>()) {
        checkStack();
        const SpecifierPtr specifier = *reference;
        if (applicationOf(*specifier))
            break;
        if (specifier->form == Specifier::Form::variable)
            value = *specifier->variable;
        else
            value = of(specifier->container, *specifier);
    }
    return value;
}

Value Parts::followItems(const Value &value) {
    const auto *list = value.as<ListPtr>();
    if (!list)
        return value;
    std::vector<Value> items;
    for (const auto &item : (*list)->items)
        items.push_back(follow(item));
    return Value::list(std::move(items));
}

Value Parts::of(const Value &container, Specifier part) {
    const Value whole = follow(container);
    if (whole.is<SpecifierPtr>())
        return described(whole, std::move(part));
    part.container = whole;
    if (part.form == Specifier::Form::property)
        return property(whole, part.name);
    return element(whole, part);
}

// A part of an application or of what belongs to one, unless it is known without asking.
Value Parts::described(const Value &whole, Specifier part) {
    const auto &outer = **whole.as<SpecifierPtr>();
    if (part.form == Specifier::Form::property) {
        if (part.name == u"contents")
            return whole;
        const bool application = outer.form == Specifier::Form::application;
        if (application && part.name == u"class")
            return ClassName{u"application"_s};
        if (auto known = application ? m_run.events().known(outer.application, part.name) : std::nullopt)
            return *known;
    }
    part.container = whole;
    return Value::specifier(std::move(part));
}

Value Parts::property(const Value &value, const QString &name) {
    const QString key = name.toLower();
    if (const auto *record = value.as<RecordPtr>()) {
        if (const Value *field = (*record)->find(key))
            return *field;
    }
    if (const auto *script = value.as<ScriptPtr>())
        return ofScript(*script, name);
    if (key == u"class")
        return ClassName{className(value)};
    if (key == u"contents")
        return value;
    if (const auto found = dataProperty(value, key, m_run))
        return *found;
    failMissing(name, value);
}

Value Parts::ofScript(const ScriptPtr &script, const QString &name) {
    const QString key = name.toLower();
    if (script == m_run.scopes().frame().me) {
        if (const auto found = m_run.scopes().find(key); found && !found->isNothing())
            return *found;
    }
    for (ScriptPtr owner = script; owner; owner = parentOf(owner)) {
        if (const auto property = owner->properties.value(key); property && !property->isNothing())
            return *property;
    }
    if (const auto handler = m_run.handlers().find(script, key))
        return HandlerPtr(handler);
    if (key == u"class")
        return ClassName{u"script"_s};
    if (key == u"name")
        return script->name.spelling;
    if (key == u"parent")
        return script->parent;
    if (key == u"text item delimiters")
        return m_run.considerations().delimiters();
    failMissing(name, script);
}

// ---- Elements

Value Parts::element(const Value &value, const Specifier &part) {
    if (part.filter) // `whose` works on objects of applications only
        failMissing(part);
    if (const auto *list = value.as<ListPtr>())
        return ofList((*list)->items, part);
    if (const auto *text = value.as<QString>(); text && isTextElement(part.name))
        return ofText(*text, part);
    if (value.is<RecordPtr>() && part.form == Specifier::Form::every && part.name == u"item")
        return coerce(value, u"list"_s, m_run.rules());
    failMissing(part);
}

Stretch Parts::stretch(const Specifier &part, std::size_t count) {
    const auto chosen = stretchOf(part, count, m_run);
    if (!chosen)
        failMissing(part);
    return *chosen;
}

Value Parts::ofList(const std::vector<Value> &items, const Specifier &part) {
    std::vector<Value> chosen;
    const std::vector<Value> *from = &items;
    if (part.name != u"item") {
        for (const auto &item : items) {
            const QString name = className(follow(item));
            if (name == part.name || (part.name == u"number" && (name == u"integer" || name == u"real")))
                chosen.push_back(item);
        }
        from = &chosen;
    }
    const auto [first, end] = stretch(part, from->size());
    if (!part.isPlural())
        return (*from)[first];
    return Value::list({from->begin() + qsizetype(first), from->begin() + qsizetype(end)});
}

Value Parts::ofText(const QString &text, const Specifier &part) {
    const bool whole = part.name == u"text";
    const QString kind = whole ? u"character"_s : part.name;
    const auto [first, end] = stretch(part, m_run.considerations().spansOf(text, kind).size());
    const auto chosen = std::span(m_run.considerations().spansOf(text, kind)).subspan(first, end - first);
    if (whole && part.form == Specifier::Form::every)
        return text;
    if (whole || !part.isPlural())
        return across(text, chosen);
    std::vector<Value> pieces;
    for (const auto &span : chosen)
        pieces.emplace_back(text.sliced(span.start, span.length));
    return Value::list(std::move(pieces));
}

std::optional<Value> Parts::textOfCodePoints(const Specifier &part) {
    constexpr qint64 LAST_CODE_POINT = 0x10ffff;
    if (part.form != Specifier::Form::byId || !isTextElement(part.name))
        return std::nullopt;
    const Value list = coerce(follow(part.key), u"list"_s, m_run.rules());
    QString text;
    for (const auto &item : (*list.as<ListPtr>())->items) {
        const qint64 code = toInteger(follow(item), m_run.rules());
        if (code < 0 || code > LAST_CODE_POINT || QChar::isSurrogate(char32_t(code)))
            throw ScriptError{error::BAD_PARAMETER, u"Parameter error."_s};
        text += QString::fromUcs4(std::array{char32_t(code)}.data(), 1);
    }
    return Value(text);
}

qsizetype Parts::count(const Value &value) {
    if (const auto *list = value.as<ListPtr>())
        return qsizetype((*list)->items.size());
    if (const auto *record = value.as<RecordPtr>())
        return qsizetype((*record)->fields.size());
    if (const auto *text = value.as<QString>())
        return qsizetype(m_run.considerations().spansOf(*text, u"character"_s).size());
    return 1;
}

} // namespace ombru::applescript
