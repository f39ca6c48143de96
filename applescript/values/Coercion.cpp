#include "applescript/values/Coercion.h"

#include "applescript/values/Errors.h"
#include "applescript/values/Format.h"
#include "applescript/values/Stack.h"

#include <algorithm>
#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

std::optional<Value> numberFromText(const QString &text) {
    const auto trimmed = QStringView(text).trimmed();
    if (trimmed.isEmpty() || !(trimmed.back().isDigit() || trimmed.back() == u'.'))
        return std::nullopt;
    bool valid = false;
    if (const auto integer = trimmed.toLongLong(&valid); valid)
        return Value::number(integer);
    const auto real = trimmed.toDouble(&valid);
    return valid ? std::optional(Value(real)) : std::nullopt;
}

std::optional<QString> textOf(const Value &value, const TextRules &rules) {
    checkStack();
    if (const auto *text = value.as<QString>())
        return *text;
    if (const auto *list = value.as<ListPtr>()) {
        QString joined;
        const QString delimiter = rules.delimiters.value(0);
        bool first = true;
        for (const auto &item : (*list)->items) {
            const auto part = textOf(item, rules);
            if (!part)
                return std::nullopt;
            if (!first)
                joined += delimiter;
            joined += *part;
            first = false;
        }
        return joined;
    }
    if (const auto *date = value.as<DatePtr>())
        return formatDate((*date)->time);
    if (const auto *file = value.as<FileReference>())
        return toColonPath(file->path);
    const bool plain = value.isNumber() || value.is<bool>() || value.is<Constant>() || value.is<ClassName>();
    return plain ? std::optional(formatPlain(value)) : std::nullopt;
}

std::optional<Value> numberOf(const Value &value) {
    if (value.isNumber())
        return value;
    if (const auto *text = value.as<QString>())
        return numberFromText(*text);
    if (const auto *flag = value.as<bool>())
        return Value(*flag ? 1 : 0);
    if (const auto *constant = value.as<Constant>()) {
        static const QStringList months = {u"January"_s,   u"February"_s, u"March"_s,    u"April"_s,
                                           u"May"_s,       u"June"_s,     u"July"_s,     u"August"_s,
                                           u"September"_s, u"October"_s,  u"November"_s, u"December"_s};
        static const QStringList days = {u"Sunday"_s,   u"Monday"_s, u"Tuesday"_s, u"Wednesday"_s,
                                         u"Thursday"_s, u"Friday"_s, u"Saturday"_s};
        const auto index = std::max(months.indexOf(constant->name), days.indexOf(constant->name));
        if (index >= 0)
            return Value(qint64(index) + 1);
    }
    return std::nullopt;
}

std::optional<Value> integerOf(const Value &value) {
    const auto number = numberOf(value);
    if (!number)
        return std::nullopt;
    if (number->is<qint64>())
        return number;
    const double rounded = std::nearbyint(number->toDouble());
    if (std::fabs(rounded) > 536870911)
        return Value(rounded);
    return Value::number(qint64(rounded));
}

Value listOf(const Value &value) {
    if (value.is<ListPtr>())
        return value;
    std::vector<Value> items;
    if (const auto *record = value.as<RecordPtr>()) {
        for (const auto &field : (*record)->fields)
            items.push_back(field.second);
    } else {
        items.push_back(value);
    }
    return Value::list(std::move(items));
}

std::optional<Value> fileOf(const Value &value, FileReference::Kind kind, bool posix) {
    if (const auto *file = value.as<FileReference>())
        return Value(FileReference{kind, file->path});
    const auto *text = value.as<QString>();
    if (!text)
        return std::nullopt;
    return Value(FileReference{kind, posix ? *text : fromColonPath(*text)});
}

std::optional<Value> booleanOf(const Value &value) {
    if (value.is<bool>())
        return value;
    if (const auto *text = value.as<QString>()) {
        if (text->compare(u"true", Qt::CaseInsensitive) == 0)
            return Value(true);
        if (text->compare(u"false", Qt::CaseInsensitive) == 0)
            return Value(false);
        return std::nullopt;
    }
    if (value.isNumber())
        return Value(value.toDouble() != 0);
    return std::nullopt;
}

std::optional<Value> textValueOf(const Value &value, const TextRules &rules) {
    auto text = textOf(value, rules);
    return text ? std::optional(Value(std::move(*text))) : std::nullopt;
}

std::optional<Value> realOf(const Value &value) {
    const auto number = numberOf(value);
    return number ? std::optional(Value(number->toDouble())) : std::nullopt;
}

std::optional<Value> isoDateOf(const Value &value) {
    const auto *date = value.as<DatePtr>();
    return date ? std::optional(Value((*date)->time.toString(Qt::ISODate))) : std::nullopt;
}

std::optional<Value> classOf(const Value &value) {
    const auto *name = value.as<QString>();
    return name ? std::optional(Value(ClassName{*name})) : std::nullopt;
}

// A class that values can be made into, and how.
struct ClassRow {
    QStringView type;
    std::optional<Value> (*make)(const Value &value, const TextRules &rules);
};

constexpr ClassRow CLASSES[] = {
    {u"text", &textValueOf},
    {u"integer", [](const Value &value, const TextRules &) { return integerOf(value); }},
    {u"number", [](const Value &value, const TextRules &) { return numberOf(value); }},
    {u"boolean", [](const Value &value, const TextRules &) { return booleanOf(value); }},
    {u"list", [](const Value &value, const TextRules &) { return std::optional(listOf(value)); }},
    {u"real", [](const Value &value, const TextRules &) { return realOf(value); }},
    {u"alias", [](const Value &value, const TextRules &) { return fileOf(value, FileReference::Kind::alias, false); }},
    {u"file", [](const Value &value, const TextRules &) { return fileOf(value, FileReference::Kind::file, false); }},
    {u"POSIX file",
     [](const Value &value, const TextRules &) { return fileOf(value, FileReference::Kind::file, true); }},
    {u"ISO date", [](const Value &value, const TextRules &) { return isoDateOf(value); }},
    {u"class", [](const Value &value, const TextRules &) { return classOf(value); }},
};

} // namespace

std::optional<Value> tryCoerce(const Value &value, const QString &type, const TextRules &rules) {
    checkStack();
    if (type == u"anything" || type == className(value))
        return value;
    if (const auto *list = value.as<ListPtr>();
        list && (*list)->items.size() == 1 && type != u"list" && type != u"text")
        return tryCoerce((*list)->items.front(), type, rules);
    const auto *row = std::ranges::find(CLASSES, QStringView(type), &ClassRow::type);
    return row == std::end(CLASSES) ? std::nullopt : row->make(value, rules);
}

void failCoercion(const Value &value, const QString &type) {
    throw ScriptError{error::COERCION, u"Can’t make %1 into type %2."_s.arg(formatSource(value), type)};
}

Value coerce(const Value &value, const QString &type, const TextRules &rules) {
    auto made = tryCoerce(value, type, rules);
    if (!made)
        failCoercion(value, type);
    return std::move(*made);
}

QString toText(const Value &value, const TextRules &rules) {
    return *coerce(value, u"text"_s, rules).as<QString>();
}

double toNumber(const Value &value, const TextRules &rules) {
    return coerce(value, u"number"_s, rules).toDouble();
}

qint64 toInteger(const Value &value, const TextRules &rules) {
    const Value number = coerce(value, u"integer"_s, rules);
    const double real = number.toDouble();
    if (!(std::fabs(real) < 9e15))
        failCoercion(value, u"integer"_s);
    return qint64(real);
}

bool toBoolean(const Value &value, const TextRules &rules) {
    return *coerce(value, u"boolean"_s, rules).as<bool>();
}

bool areEqual(const Value &left, const Value &right, const TextRules &rules) {
    checkStack();
    if (left.isNumber() && right.isNumber())
        return left.toDouble() == right.toDouble();
    if (left.data().index() != right.data().index())
        return false;
    if (const auto *text = left.as<QString>())
        return compareText(*text, *right.as<QString>(), rules) == 0;
    if (const auto *list = left.as<ListPtr>()) {
        const auto &a = (*list)->items, &b = (*right.as<ListPtr>())->items;
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [&](const Value &x, const Value &y) {
                   return areEqual(x, y, rules);
               });
    }
    if (const auto *record = left.as<RecordPtr>()) {
        const auto &other = *right.as<RecordPtr>();
        return (*record)->fields.size() == other->fields.size() &&
               std::all_of((*record)->fields.begin(), (*record)->fields.end(), [&](const auto &field) {
                   const Value *same = other->find(field.first.key);
                   return same && areEqual(field.second, *same, rules);
               });
    }
    if (const auto *date = left.as<DatePtr>())
        return (*date)->time == (*right.as<DatePtr>())->time;
    if (const auto *reference = left.as<SpecifierPtr>())
        return formatReference(**reference, true) == formatReference(**right.as<SpecifierPtr>(), true);
    if (const auto *file = left.as<FileReference>())
        return file->path == right.as<FileReference>()->path;
    if (const auto *constant = left.as<Constant>())
        return constant->name.compare(right.as<Constant>()->name, Qt::CaseInsensitive) == 0;
    return left.data() == right.data();
}

int compareValues(const Value &left, const Value &right, const TextRules &rules) {
    if (const auto *date = left.as<DatePtr>()) {
        const auto *other = right.as<DatePtr>();
        if (!other)
            failCoercion(right, u"date"_s);
        return (*date)->time<(*other)->time ? -1 : (*date)->time>(*other)->time ? 1 : 0;
    }
    if (const auto *text = left.as<QString>())
        return compareText(*text, toText(right, rules), rules);
    const double a = toNumber(left, rules), b = toNumber(right, rules);
    return a < b ? -1 : a > b ? 1 : 0;
}

bool holds(Position position, const Value &whole, const Value &part, const TextRules &rules) {
    if (const auto *record = whole.as<RecordPtr>()) {
        const auto *inner = part.as<RecordPtr>();
        if (!inner)
            failCoercion(part, u"record"_s);
        return std::all_of((*inner)->fields.begin(), (*inner)->fields.end(), [&](const auto &field) {
            const Value *same = (*record)->find(field.first.key);
            return same && areEqual(*same, field.second, rules);
        });
    }
    if (const auto *list = whole.as<ListPtr>()) {
        const auto &items = (*list)->items;
        const Value wanted = listOf(part);
        const auto &inner = (*wanted.as<ListPtr>())->items;
        if (inner.size() > items.size())
            return false;
        const auto same = [&](const Value &x, const Value &y) { return areEqual(x, y, rules); };
        if (position == Position::atStart)
            return std::equal(inner.begin(), inner.end(), items.begin(), same);
        if (position == Position::atEnd)
            return std::equal(inner.rbegin(), inner.rend(), items.rbegin(), same);
        return std::search(items.begin(), items.end(), inner.begin(), inner.end(), same) != items.end() ||
               inner.empty();
    }
    const QString text = comparable(toText(whole, rules), rules), inner = comparable(toText(part, rules), rules);
    if (position == Position::atStart)
        return text.startsWith(inner, rules.caseSensitivity());
    if (position == Position::atEnd)
        return text.endsWith(inner, rules.caseSensitivity());
    return text.contains(inner, rules.caseSensitivity());
}

// ---- Dates

namespace {

struct DateParts {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::optional<bool> afternoon;
    bool dated = false, timed = false;
};

// Where among the names the word's beginning is, from 1; 0 when it is none of them.
int numberOfName(const QString &word, const QStringList &names) {
    return int(names.indexOf(word.first(std::min<qsizetype>(3, word.size())))) + 1;
}

void readClock(DateParts &parts, const QString &word) {
    const auto numbers = word.split(u':');
    parts.hour = numbers.value(0).toInt();
    parts.minute = numbers.value(1).toInt();
    parts.second = numbers.value(2).toInt();
    parts.timed = true;
}

// 2026-07-31, 7/31/2026 or 7/31
void readNumbers(DateParts &parts, const QString &word, int thisYear) {
    const auto numbers = word.split(word.contains(u'/') ? u'/' : u'-');
    const bool yearFirst = numbers.value(0).size() == 4;
    parts.year = numbers.value(yearFirst ? 0 : 2, QString::number(thisYear)).toInt();
    parts.month = numbers.value(yearFirst ? 1 : 0).toInt();
    parts.day = numbers.value(yearFirst ? 2 : 1).toInt();
    parts.dated = true;
}

// False for a word that has no place in a date.
bool readWord(DateParts &parts, const QString &word, int thisYear) {
    static const QStringList months = {u"jan"_s, u"feb"_s, u"mar"_s, u"apr"_s, u"may"_s, u"jun"_s,
                                       u"jul"_s, u"aug"_s, u"sep"_s, u"oct"_s, u"nov"_s, u"dec"_s};
    static const QStringList days = {u"mon"_s, u"tue"_s, u"wed"_s, u"thu"_s, u"fri"_s, u"sat"_s, u"sun"_s};
    bool isNumber = false;
    const int number = word.toInt(&isNumber);
    if (word == u"am" || word == u"pm") {
        parts.afternoon = word == u"pm";
    } else if (word.contains(u':')) {
        readClock(parts, word);
    } else if (word.contains(u'/') || word.count(u'-') == 2) {
        readNumbers(parts, word, thisYear);
    } else if (isNumber) {
        (number > 31 ? parts.year : parts.day) = number;
        parts.dated = true;
    } else if (const int month = numberOfName(word, months)) {
        parts.month = month;
        parts.dated = true;
    } else {
        return word == u"at" || numberOfName(word, days) > 0;
    }
    return true;
}

} // namespace

std::optional<QDateTime> parseDate(const QString &text, const QDateTime &now) {
    QString rest = text.simplified();
    if (auto iso = QDateTime::fromString(rest, Qt::ISODate); iso.isValid())
        return iso;
    const QStringList words =
        rest.replace(u","_s, u" "_s).replace(u'\u202F', u' ').simplified().split(u' ', Qt::SkipEmptyParts);
    DateParts parts;
    for (const QString &word : words) {
        if (!readWord(parts, word.toLower(), now.date().year()))
            return std::nullopt;
    }
    if (!parts.dated && !parts.timed)
        return std::nullopt;
    if (parts.afternoon && parts.hour <= 12)
        parts.hour = parts.hour % 12 + (*parts.afternoon ? 12 : 0);
    if (parts.year > 0 && parts.year < 100)
        parts.year += 2000;
    const int year = parts.year > 0 ? parts.year : now.date().year();
    const QDate date = parts.dated ? QDate(year, parts.month, parts.day) : now.date();
    const QTime time(parts.hour, parts.minute, parts.second);
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(date, time);
}

} // namespace ombru::applescript
