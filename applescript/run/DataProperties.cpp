#include "applescript/run/DataProperties.h"

#include "applescript/run/DateProperties.h"
#include "applescript/run/Interpreter.h"
#include "applescript/values/Format.h"

#include <QFileInfo>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

template <class T>
struct Row {
    QStringView name;
    Value (*read)(const T &value, Interpreter &run); // nothing when this one has none
};

template <class T, std::size_t count>
std::optional<Value> read(const Row<T> (&rows)[count], const T &value, QStringView name, Interpreter &run) {
    const auto *row = std::ranges::find(rows, name, &Row<T>::name);
    Value found = row == std::end(rows) ? Value() : row->read(value, run);
    return found.isNothing() ? std::nullopt : std::optional(std::move(found));
}

// ---- Lists

Value lengthOfList(const List &list, Interpreter &) {
    return qint64(list.items.size());
}

Value reverseOfList(const List &list, Interpreter &) {
    return Value::list({list.items.rbegin(), list.items.rend()});
}

Value restOfList(const List &list, Interpreter &) {
    return list.items.empty() ? Value() : Value::list({list.items.begin() + 1, list.items.end()});
}

constexpr Row<List> LIST[] = {{u"length", &lengthOfList}, {u"reverse", &reverseOfList}, {u"rest", &restOfList}};

// What is asked of each item, because a list has no such thing itself.
constexpr QStringView DISTRIBUTED[] = {u"name", u"id", u"title", u"position", u"size"};

std::optional<Value> distributed(const List &list, QStringView name, Interpreter &run) {
    if (list.items.empty() || std::ranges::find(DISTRIBUTED, name) == std::end(DISTRIBUTED))
        return std::nullopt;
    std::vector<Value> found;
    for (const auto &item : list.items) {
        Specifier part;
        part.name = name.toString();
        const Value value = run.parts().of(item, std::move(part));
        const auto *specifier = value.as<SpecifierPtr>();
        found.push_back(specifier ? run.references().get(*specifier) : value);
    }
    return Value::list(std::move(found));
}

// ---- Text

Value lengthOfText(const QString &text, Interpreter &run) {
    return qint64(run.considerations().spansOf(text, u"character"_s).size());
}

Value quotedForm(const QString &text, Interpreter &) {
    return u'\'' + QString(text).replace(u'\'', u"'\\''"_s) + u'\'';
}

Value pathOfText(const QString &text, Interpreter &) {
    return fromColonPath(text);
}

Value reverseOfText(const QString &text, Interpreter &run) {
    QString out;
    const auto &spans = run.considerations().spansOf(text, u"character"_s);
    for (auto span = spans.rbegin(); span != spans.rend(); ++span)
        out += text.sliced(span->start, span->length);
    return out;
}

Value codePoints(const QString &text, Interpreter &) {
    std::vector<Value> codes;
    for (const auto code : text.toUcs4())
        codes.emplace_back(qint64(code));
    return codes.size() == 1 ? codes.front() : Value::list(std::move(codes));
}

constexpr Row<QString> TEXT[] = {{u"length", &lengthOfText},
                                 {u"quoted form", &quotedForm},
                                 {u"posix path", &pathOfText},
                                 {u"reverse", &reverseOfText},
                                 {u"id", &codePoints}};

// ---- The others

Value lengthOfRecord(const Record &record, Interpreter &) {
    return qint64(record.fields.size());
}

constexpr Row<Record> RECORD[] = {{u"length", &lengthOfRecord}};

Value pathOfFile(const FileReference &file, Interpreter &) {
    return file.path;
}

Value nameOfFile(const FileReference &file, Interpreter &) {
    const bool folder = file.path.endsWith(u'/') && file.path.size() > 1;
    return QFileInfo(folder ? file.path.chopped(1) : file.path).fileName();
}

constexpr Row<FileReference> PLACE[] = {{u"posix path", &pathOfFile}, {u"name", &nameOfFile}};

constexpr Row<Constant> APPLESCRIPT[] = {
    {u"text item delimiters", [](const Constant &, Interpreter &run) { return run.considerations().delimiters(); }},
    {u"version", [](const Constant &, Interpreter &) { return Value(u"2.8"_s); }},
    {u"pi", [](const Constant &, Interpreter &) { return Value(3.141592653589793); }},
};

} // namespace

std::optional<Value> dataProperty(const Value &value, QStringView key, Interpreter &run) {
    if (const auto *list = value.as<ListPtr>()) {
        auto own = read(LIST, **list, key, run);
        return own ? own : distributed(**list, key, run);
    }
    if (const auto *text = value.as<QString>())
        return read(TEXT, *text, key, run);
    if (const auto *record = value.as<RecordPtr>())
        return read(RECORD, **record, key, run);
    if (const auto *file = value.as<FileReference>())
        return read(PLACE, *file, key, run);
    if (const auto *constant = value.as<Constant>(); constant && constant->name == u"AppleScript")
        return read(APPLESCRIPT, *constant, key, run);
    const auto *date = value.as<DatePtr>();
    const auto *row = date ? dateProperty(key) : nullptr;
    return row ? std::optional(row->read((*date)->time)) : std::nullopt;
}

} // namespace ombru::applescript
