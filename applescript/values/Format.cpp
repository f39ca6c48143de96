#include "applescript/values/Format.h"

#include "applescript/values/Overloaded.h"
#include "applescript/values/ScriptObject.h"
#include "applescript/values/Specifier.h"
#include "applescript/values/Stack.h"

#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView DISK = u"Macintosh HD";

QString quotedSource(const QString &text) {
    QString out = u"\""_s;
    for (const QChar character : text) {
        if (character == u'"' || character == u'\\')
            out += u'\\';
        if (character == u'\n')
            out += u"\\n"_s;
        else if (character == u'\t')
            out += u"\\t"_s;
        else if (character == u'\r')
            out += u"\\r"_s;
        else
            out += character;
    }
    return out + u'"';
}

QString withoutTrailingZeros(QString digits) {
    while (digits.endsWith(u'0'))
        digits.chop(1);
    return digits.endsWith(u'.') ? digits + u'0' : digits;
}

QString label(const Name &name) {
    const bool plain = std::all_of(name.spelling.begin(), name.spelling.end(),
                                   [](QChar c) { return c.isLetterOrNumber() || c == u'_' || c == u' '; });
    return plain ? name.spelling : u'|' + name.spelling + u'|';
}

QString format(const Value &value, bool source);

QString formatFile(const FileReference &file, bool source) {
    const QString path = toColonPath(file.path);
    const QString kind = file.kind == FileReference::Kind::alias ? u"alias "_s : u"file "_s;
    return kind + (source ? quotedSource(path) : path);
}

QString joined(const QStringList &parts, bool source) {
    const QString all = parts.join(u", "_s);
    return source ? u'{' + all + u'}' : all;
}

QString formatList(const List &list, bool source) {
    QStringList items;
    for (const auto &item : list.items)
        items.append(format(item, source));
    return joined(items, source);
}

QString formatRecord(const Record &record, bool source) {
    QStringList fields;
    for (const auto &[name, field] : record.fields)
        fields.append(label(name) + u':' + format(field, source));
    return joined(fields, source);
}

QString formatScript(const ScriptObject &script) {
    return script.name.key.isEmpty() ? u"«script»"_s : u"«script "_s + script.name.spelling + u'»';
}

QString format(const Value &value, bool source) {
    checkStack();
    const auto written = [source](const QString &text) { return source ? quotedSource(text) : text; };
    return std::visit(Overloaded{
                          [](const Nothing &) { return QString(); },
                          [&](const QString &text) { return written(text); },
                          [](bool flag) { return flag ? u"true"_s : u"false"_s; },
                          [](qint64 integer) { return QString::number(integer); },
                          [](double real) { return formatReal(real); },
                          [](const Constant &constant) { return constant.name; },
                          [](const ClassName &type) { return type.name; },
                          [](const RawCode &raw) { return u'«' + raw.code + u'»'; },
                          [&](const DatePtr &date) { return u"date "_s + written(formatDate(date->time)); },
                          [&](const FileReference &file) { return formatFile(file, source); },
                          [&](const ListPtr &list) { return formatList(*list, source); },
                          [&](const RecordPtr &record) { return formatRecord(*record, source); },
                          [&](const SpecifierPtr &specifier) { return formatReference(*specifier, source, source); },
                          [](const ScriptPtr &script) { return formatScript(*script); },
                          [](const HandlerPtr &handler) { return u"«handler "_s + handler->name.spelling + u'»'; },
                      },
                      value.data());
}

QString formatPart(const Specifier &part, bool quoted) {
    using enum Specifier::Form;
    const auto key = [&](const Value &value) { return format(value, quoted); };
    switch (part.form) {
    case application:
        return u"application "_s + key(part.application.name);
    case variable:
    case property:
        return part.name;
    case index:
        return part.filter ? u"%1 %2 whose %3"_s.arg(part.name, key(part.key), part.filter->written)
                           : part.name + u' ' + key(part.key);
    case named:
        return part.name + u' ' + key(part.key);
    case byId:
        return part.name + u" id "_s + key(part.key);
    case every:
        return u"every "_s + part.name + (part.filter ? u" whose "_s + part.filter->written : QString());
    case range:
        return u"%1s %2 thru %3"_s.arg(part.name, key(part.key), key(part.last));
    case middle:
        return u"middle "_s + part.name;
    case some:
        return u"some "_s + part.name;
    case before:
        return part.name + u" before "_s + key(part.key);
    case after:
        return part.name + u" after "_s + key(part.key);
    case beginning:
        return u"beginning"_s;
    case end:
        return u"end"_s;
    case ahead:
        return u"before"_s;
    case behind:
        return u"after"_s;
    }
    return {};
}

} // namespace

QString formatReal(double number) {
    if (std::isnan(number))
        return u"NAN"_s;
    if (std::isinf(number))
        return number > 0 ? u"INF"_s : u"-INF"_s;
    if (number == 0)
        return u"0.0"_s;
    const double size = std::fabs(number);
    if (size > 0.001 && size < 10000)
        return withoutTrailingZeros(QString::number(number, 'f', 12));
    const QString written = QString::number(number, 'e', 14);
    const auto e = written.indexOf(u'e');
    const int exponent = QStringView(written).sliced(e + 1).toInt();
    return withoutTrailingZeros(written.first(e)) + (exponent < 0 ? u"E-"_s : u"E+"_s) +
           QString::number(std::abs(exponent));
}

QString formatDay(const QDateTime &time) {
    static const QStringList days = {u"Monday"_s, u"Tuesday"_s,  u"Wednesday"_s, u"Thursday"_s,
                                     u"Friday"_s, u"Saturday"_s, u"Sunday"_s};
    static const QStringList months = {u"January"_s,   u"February"_s, u"March"_s,    u"April"_s,
                                       u"May"_s,       u"June"_s,     u"July"_s,     u"August"_s,
                                       u"September"_s, u"October"_s,  u"November"_s, u"December"_s};
    const QDate day = time.date();
    if (!day.isValid())
        return u"unknown"_s;
    return u"%1, %2 %3, %4"_s.arg(days[day.dayOfWeek() - 1], months[day.month() - 1]).arg(day.day()).arg(day.year());
}

QString formatTime(const QDateTime &time) {
    const QTime clock = time.time();
    const int hour = clock.hour() % 12 == 0 ? 12 : clock.hour() % 12;
    return u"%1:%2:%3 %4"_s.arg(hour)
        .arg(clock.minute(), 2, 10, QChar(u'0'))
        .arg(clock.second(), 2, 10, QChar(u'0'))
        .arg(clock.hour() < 12 ? u"AM"_s : u"PM"_s);
}

QString formatDate(const QDateTime &time) {
    return formatDay(time) + u" at "_s + formatTime(time);
}

QString formatPlain(const Value &value) {
    return format(value, false);
}

QString formatSource(const Value &value) {
    return format(value, true);
}

QString formatReference(const Specifier &specifier, bool withApplication, bool quoted) {
    QString written = formatPart(specifier, quoted);
    const Specifier *part = &specifier;
    while (const Specifier *outer = part->containerSpecifier()) {
        if (outer->form == Specifier::Form::application && !withApplication)
            return written;
        written += u" of "_s + formatPart(*outer, quoted);
        part = outer;
    }
    if (!part->container.isNothing())
        written += u" of "_s + format(part->container, quoted);
    return written;
}

QString toColonPath(const QString &posix) {
    QString path = posix;
    return DISK.toString() + path.replace(u'/', u':');
}

QString fromColonPath(const QString &path) {
    if (path.startsWith(u'/') || path.startsWith(u'~'))
        return path;
    const auto colon = path.indexOf(u':');
    QString rest = colon < 0 ? u'/' + path : path.sliced(colon);
    return rest.replace(u':', u'/');
}

} // namespace ombru::applescript
