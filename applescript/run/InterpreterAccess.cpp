// Properties and elements of the script's own values.
#include "applescript/run/Interpreter.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

#include <QFileInfo>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// Where an index points, from 0; nothing outside.
std::optional<qsizetype> position(qint64 index, std::size_t count) {
    const qint64 size = qint64(count);
    const qint64 at = index < 0 ? size + index : index - 1;
    return at >= 0 && at < size && index != 0 ? std::optional(qsizetype(at)) : std::nullopt;
}

bool isTextElement(const QString &name) {
    return name == u"character" || name == u"item" || name == u"word" || name == u"paragraph" || name == u"text item" ||
           name == u"text";
}

QString shellQuoted(QString text) {
    return u'\'' + text.replace(u'\'', u"'\\''"_s) + u'\'';
}

// From the first place to the last: one stretch of text, or a list of its elements.
Value stretchOfText(const QString &text, const std::vector<Span> &spans, qsizetype first, qsizetype last, bool whole) {
    if (whole) {
        const auto &end = spans[std::size_t(last)];
        const auto start = spans[std::size_t(first)].start;
        return text.sliced(start, end.start + end.length - start);
    }
    std::vector<Value> pieces;
    for (qsizetype i = first; i <= last; ++i)
        pieces.emplace_back(text.sliced(spans[std::size_t(i)].start, spans[std::size_t(i)].length));
    return Value::list(std::move(pieces));
}

} // namespace

void Interpreter::failToGet(const Specifier &part, int number) {
    throw ScriptError{number, u"Can’t get %1."_s.arg(formatReference(part, true))};
}

// What `part` of a container is. Applications are described, everything else is followed.
Value Interpreter::partOf(const Value &container, Specifier part) {
    const Value whole = follow(container);
    if (const auto *specifier = whole.as<SpecifierPtr>()) {
        if (part.form == Specifier::Form::property && part.name == u"contents")
            return whole;
        if (part.form == Specifier::Form::property && part.name == u"class" &&
            (*specifier)->form == Specifier::Form::application)
            return ClassName{u"application"_s};
        if (part.form == Specifier::Form::property && (*specifier)->form == Specifier::Form::application) {
            if (auto known = m_events->known((*specifier)->application, part.name))
                return *known;
        }
        part.container = whole;
        return Value::specifier(std::move(part));
    }
    part.container = whole;
    if (part.form == Specifier::Form::property)
        return propertyOfData(whole, part.name);
    return elementOfData(whole, part);
}

Value Interpreter::propertyOfData(const Value &value, const QString &name) {
    const QString key = name.toLower();
    if (const auto *record = value.as<RecordPtr>()) {
        if (const Value *field = (*record)->find(key))
            return *field;
    }
    if (const auto *script = value.as<ScriptPtr>())
        return scriptProperty(*script, name);
    if (const auto *constant = value.as<Constant>(); constant && constant->name == u"AppleScript") {
        if (key == u"text item delimiters")
            return m_delimiters;
        if (key == u"version")
            return u"2.8"_s;
        if (key == u"pi")
            return 3.141592653589793;
    }
    if (key == u"class")
        return ClassName{className(value)};
    if (key == u"contents")
        return value;
    std::optional<Value> found;
    if (const auto *list = value.as<ListPtr>())
        found = listProperty(**list, key);
    else if (const auto *text = value.as<QString>())
        found = textProperty(*text, key);
    else if (const auto *date = value.as<DatePtr>())
        found = dateProperty(**date, key);
    else if (const auto *file = value.as<FileReference>())
        found = fileProperty(*file, key);
    else if (const auto *record = value.as<RecordPtr>(); record && key == u"length")
        found = qint64((*record)->fields.size());
    if (found)
        return *found;
    Specifier part;
    part.name = name;
    part.container = value;
    failToGet(part);
}

std::optional<Value> Interpreter::listProperty(const List &list, const QString &name) {
    auto items = list.items;
    if (name == u"length")
        return Value(qint64(items.size()));
    if (name == u"reverse") {
        std::reverse(items.begin(), items.end());
        return Value::list(std::move(items));
    }
    if (name == u"rest" && !items.empty()) {
        items.erase(items.begin());
        return Value::list(std::move(items));
    }
    const bool distributes =
        name == u"name" || name == u"id" || name == u"title" || name == u"position" || name == u"size";
    if (!distributes || items.empty())
        return std::nullopt;
    std::vector<Value> found;
    for (const auto &item : items) {
        Value part = partOf(item, *propertyOf(name, {}).as<SpecifierPtr>()->get());
        const auto *specifier = part.as<SpecifierPtr>();
        found.push_back(specifier ? get(*specifier) : part);
    }
    return Value::list(std::move(found));
}

std::optional<Value> Interpreter::textProperty(const QString &text, const QString &name) {
    if (name == u"length")
        return Value(qint64(spansOf(text, u"character"_s).size()));
    if (name == u"quoted form")
        return Value(shellQuoted(text));
    if (name == u"posix path")
        return Value(fromColonPath(text));
    if (name == u"reverse") {
        QString out;
        const auto &spans = spansOf(text, u"character"_s);
        for (auto span = spans.rbegin(); span != spans.rend(); ++span)
            out += text.sliced(span->start, span->length);
        return Value(out);
    }
    if (name != u"id")
        return std::nullopt;
    std::vector<Value> codes;
    for (const auto code : text.toUcs4())
        codes.emplace_back(qint64(code));
    return codes.size() == 1 ? codes.front() : Value::list(std::move(codes));
}

std::optional<Value> Interpreter::dateProperty(const Date &date, const QString &name) {
    static const QStringList months = {u"January"_s,   u"February"_s, u"March"_s,    u"April"_s,
                                       u"May"_s,       u"June"_s,     u"July"_s,     u"August"_s,
                                       u"September"_s, u"October"_s,  u"November"_s, u"December"_s};
    static const QStringList days = {u"Monday"_s, u"Tuesday"_s,  u"Wednesday"_s, u"Thursday"_s,
                                     u"Friday"_s, u"Saturday"_s, u"Sunday"_s};
    const QDate day = date.time.date();
    const QTime time = date.time.time();
    if (name == u"year")
        return Value(day.year());
    if (name == u"month")
        return Value(Constant{months[day.month() - 1]});
    if (name == u"day")
        return Value(day.day());
    if (name == u"weekday")
        return Value(Constant{days[day.dayOfWeek() - 1]});
    if (name == u"hours")
        return Value(time.hour());
    if (name == u"minutes")
        return Value(time.minute());
    if (name == u"seconds")
        return Value(time.second());
    if (name == u"time")
        return Value(time.hour() * 3600 + time.minute() * 60 + time.second());
    if (name == u"date string")
        return Value(formatDay(date.time));
    if (name == u"short date string")
        return Value(u"%1/%2/%3"_s.arg(day.month()).arg(day.day()).arg(day.year() % 100, 2, 10, QChar(u'0')));
    if (name == u"time string")
        return Value(formatTime(date.time));
    return std::nullopt;
}

std::optional<Value> Interpreter::fileProperty(const FileReference &file, const QString &name) {
    if (name == u"posix path")
        return Value(file.path);
    if (name == u"name")
        return Value(
            QFileInfo(file.path.endsWith(u'/') && file.path.size() > 1 ? file.path.chopped(1) : file.path).fileName());
    return std::nullopt;
}

Value Interpreter::scriptProperty(const ScriptPtr &script, const QString &name) {
    const QString key = name.toLower();
    if (script == m_frame->me) {
        if (const auto found = find(key); found && !found->isNothing())
            return *found;
    }
    for (ScriptPtr owner = script; owner;) {
        if (const auto property = owner->properties.value(key); property && !property->isNothing())
            return *property;
        const auto *parent = owner->parent.as<ScriptPtr>();
        owner = parent ? *parent : nullptr;
    }
    ScriptPtr owner = script;
    if (const auto handler = findHandler(owner, key))
        return HandlerPtr(handler);
    if (key == u"class")
        return ClassName{u"script"_s};
    if (key == u"name" && script->definition)
        return script->name.spelling;
    if (key == u"parent")
        return script->parent;
    if (key == u"text item delimiters")
        return m_delimiters;
    Specifier part;
    part.name = name;
    part.container = script;
    failToGet(part);
}

Value Interpreter::elementOfData(const Value &value, const Specifier &part) {
    using enum Specifier::Form;
    if (part.filter) // `whose` works on objects of applications only
        failToGet(part);
    if (const auto *list = value.as<ListPtr>())
        return elementsOfList(value, (*list)->items, part);
    if (const auto *text = value.as<QString>(); text && isTextElement(part.name))
        return elementsOfText(*text, part);
    if (const auto *record = value.as<RecordPtr>(); record && part.form == every && part.name == u"item")
        return coerce(value, u"list"_s, m_rules);
    failToGet(part);
}

// `character id 65`, `string id {72, 105}`.
std::optional<Value> Interpreter::textOfCodePoints(const Specifier &part) {
    constexpr qint64 LAST_CODE_POINT = 0x10ffff;
    if (part.form != Specifier::Form::byId || !isTextElement(part.name))
        return std::nullopt;
    const Value list = coerce(follow(part.key), u"list"_s, m_rules);
    QString text;
    for (const auto &item : (*list.as<ListPtr>())->items) {
        const qint64 code = toInteger(follow(item), m_rules);
        if (code < 0 || code > LAST_CODE_POINT || QChar::isSurrogate(char32_t(code)))
            throw ScriptError{error::BAD_PARAMETER, u"Parameter error."_s};
        text += QString::fromUcs4(std::array{char32_t(code)}.data(), 1);
    }
    return Value(text);
}

Value Interpreter::elementsOfList(const Value &, const std::vector<Value> &items, const Specifier &part) {
    using enum Specifier::Form;
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
    const auto at = [&](qint64 index) {
        const auto found = position(index, from->size());
        if (!found)
            failToGet(part);
        return *found;
    };
    switch (part.form) {
    case every:
        return Value::list(*from);
    case index:
        return (*from)[std::size_t(at(toInteger(follow(part.key), m_rules)))];
    case middle:
        return (*from)[std::size_t(at(qint64(from->size() + 1) / 2))];
    case some:
        return (*from)[std::size_t(at(1 + qint64(m_host.system().random() * double(from->size()))))];
    case range: {
        auto first = at(toInteger(follow(part.key), m_rules)), last = at(toInteger(follow(part.last), m_rules));
        if (first > last)
            std::swap(first, last);
        return Value::list({from->begin() + first, from->begin() + last + 1});
    }
    default:
        failToGet(part);
    }
}

const std::vector<Span> &Interpreter::spansOf(const QString &text, const QString &kind) {
    const bool known = m_elements.kind == kind && m_elements.considered == m_rules.considered &&
                       m_elements.delimiters == m_rules.delimiters && m_elements.text.size() == text.size() &&
                       (m_elements.text.constData() == text.constData() || m_elements.text == text);
    if (!known)
        m_elements = {text, kind, m_rules.delimiters, m_rules.considered, textElements(text, kind, m_rules)};
    return m_elements.spans;
}

Value Interpreter::elementsOfText(const QString &text, const Specifier &part) {
    using enum Specifier::Form;
    const bool whole = part.name == u"text";
    const auto &spans = spansOf(text, whole ? u"character"_s : part.name);
    const auto at = [&](const Value &key) {
        const auto found = position(toInteger(follow(key), m_rules), spans.size());
        if (!found)
            failToGet(part);
        return *found;
    };
    const auto piece = [&](qsizetype i) {
        return text.sliced(spans[std::size_t(i)].start, spans[std::size_t(i)].length);
    };
    switch (part.form) {
    case index:
        return piece(at(part.key));
    case middle:
        return piece(at(Value(qint64(spans.size() + 1) / 2)));
    case some:
        return piece(at(Value(1 + qint64(m_host.system().random() * double(spans.size())))));
    case every:
        if (whole)
            return text;
        return stretchOfText(text, spans, 0, qsizetype(spans.size()) - 1, false);
    case range: {
        const auto from = at(part.key), to = at(part.last);
        return stretchOfText(text, spans, std::min(from, to), std::max(from, to), whole);
    }
    default:
        failToGet(part);
    }
}

qsizetype Interpreter::countOf(const Value &value) {
    if (const auto *list = value.as<ListPtr>())
        return qsizetype((*list)->items.size());
    if (const auto *record = value.as<RecordPtr>())
        return qsizetype((*record)->fields.size());
    if (const auto *text = value.as<QString>())
        return qsizetype(spansOf(*text, u"character"_s).size());
    return 1;
}

} // namespace ombru::applescript
