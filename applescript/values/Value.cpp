#include "applescript/values/Value.h"

#include "applescript/values/Overloaded.h"
#include "applescript/values/Specifier.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LARGEST_INTEGER = 536870911;

bool holdsOthers(const Value &value) {
    return value.is<ListPtr>() || value.is<RecordPtr>() || value.is<SpecifierPtr>();
}

thread_local std::vector<Value> *waiting = nullptr;

} // namespace

Value Value::missing() {
    return Constant{u"missing value"_s};
}

Value Value::list(std::vector<Value> items) {
    return std::make_shared<List>(std::move(items));
}

Value Value::record(std::vector<std::pair<Name, Value>> fields) {
    return std::make_shared<Record>(std::move(fields));
}

Value Value::date(const QDateTime &time) {
    return std::make_shared<Date>(Date{time});
}

Value Value::specifier(Specifier specifier) {
    return SpecifierPtr(std::make_shared<const Specifier>(std::move(specifier)));
}

Value Value::number(qint64 value) {
    if (value > LARGEST_INTEGER || value < -LARGEST_INTEGER)
        return double(value);
    return value;
}

bool Value::isMissing() const {
    const auto *constant = as<Constant>();
    return constant && constant->name == u"missing value";
}

double Value::toDouble() const {
    if (const auto *integer = as<qint64>())
        return double(*integer);
    const auto *real = as<double>();
    return real ? *real : 0;
}

List::~List() {
    dispose(std::move(items));
}

void List::release() {
    const auto dropped = std::move(items);
    items.clear();
}

Record::~Record() {
    std::vector<Value> values;
    for (auto &[name, value] : fields)
        values.push_back(std::move(value));
    dispose(std::move(values));
}

void Record::release() {
    const auto dropped = std::move(fields);
    fields.clear();
}

Value *Record::find(const QString &key) {
    for (auto &[name, value] : fields) {
        if (name.key == key)
            return &value;
    }
    return nullptr;
}

void dispose(std::vector<Value> &&values) {
    if (std::none_of(values.begin(), values.end(), holdsOthers))
        return;
    if (waiting) {
        for (auto &value : values)
            waiting->push_back(std::move(value));
        values.clear();
        return;
    }
    std::vector<Value> queue = std::move(values);
    waiting = &queue;
    while (!queue.empty()) {
        const Value last = std::move(queue.back());
        queue.pop_back();
    }
    waiting = nullptr;
}

QString className(const Value &value) {
    return std::visit(
        Overloaded{
            [](const Nothing &) { return u"missing value"_s; },
            [](bool) { return u"boolean"_s; },
            [](qint64) { return u"integer"_s; },
            [](double) { return u"real"_s; },
            [](const QString &) { return u"text"_s; },
            [](const Constant &constant) { return constant.name == u"missing value" ? u"class"_s : u"constant"_s; },
            [](const ClassName &) { return u"class"_s; },
            [](const FileReference &file) { return file.kind == FileReference::Kind::alias ? u"alias"_s : u"file"_s; },
            [](const RawCode &) { return u"data"_s; },
            [](const ListPtr &) { return u"list"_s; },
            [](const RecordPtr &record) {
                const auto *own = record->find(u"class"_s);
                const auto *name = own ? own->as<ClassName>() : nullptr;
                return name ? name->name : u"record"_s;
            },
            [](const DatePtr &) { return u"date"_s; },
            [](const SpecifierPtr &specifier) {
                return specifier->form == Specifier::Form::application ? u"application"_s : specifier->name;
            },
            [](const ScriptPtr &) { return u"script"_s; },
            [](const HandlerPtr &) { return u"handler"_s; },
        },
        value.data());
}

Value deepCopy(const Value &value) {
    checkStack();
    if (const auto *list = value.as<ListPtr>()) {
        std::vector<Value> items;
        items.reserve((*list)->items.size());
        for (const auto &item : (*list)->items)
            items.push_back(deepCopy(item));
        return Value::list(std::move(items));
    }
    if (const auto *record = value.as<RecordPtr>()) {
        std::vector<std::pair<Name, Value>> fields;
        for (const auto &[name, field] : (*record)->fields)
            fields.emplace_back(name, deepCopy(field));
        return Value::record(std::move(fields));
    }
    if (const auto *date = value.as<DatePtr>())
        return Value::date((*date)->time);
    return value;
}

// ---- Specifiers

Specifier::~Specifier() {
    std::vector<Value> values;
    if (holdsOthers(container))
        values.push_back(std::move(container));
    if (holdsOthers(key))
        values.push_back(std::move(key));
    dispose(std::move(values));
}

const Specifier *Specifier::containerSpecifier() const {
    const auto *outer = container.as<SpecifierPtr>();
    return outer ? outer->get() : nullptr;
}

std::optional<Application> applicationOf(const Specifier &specifier) {
    const Specifier *part = &specifier;
    while (const Specifier *outer = part->containerSpecifier())
        part = outer;
    if (part->form != Specifier::Form::application)
        return std::nullopt;
    return part->application;
}

Value applicationValue(Application application) {
    Specifier root;
    root.form = Specifier::Form::application;
    root.name = u"application"_s;
    root.application = std::move(application);
    return Value::specifier(std::move(root));
}

Value propertyOf(const QString &name, Value container) {
    Specifier property;
    property.form = Specifier::Form::property;
    property.name = name;
    property.container = std::move(container);
    return Value::specifier(std::move(property));
}

} // namespace ombru::applescript
