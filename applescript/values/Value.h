// A value of a script. Lists, records, dates and script objects are shared: copying a Value shares them, as `set` does;
// deepCopy is what `copy` does. Everything else never changes.
//
// Thread: the interpreter's.
#pragma once
#include "applescript/values/Heap.h"

#include <QDateTime>
#include <QString>

#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace ombru::applescript {

// An identifier or term: compared by its key, shown as it was first written.
struct Name {
    QString key;
    QString spelling;

    Name() = default;
    explicit Name(const QString &written) : key(written.toLower()), spelling(written) {}
    Name(QString itsKey, QString written) : key(std::move(itsKey)), spelling(std::move(written)) {}
    bool operator==(const Name &other) const { return key == other.key; }
};

struct List;
struct Record;
struct Date;
struct Specifier;
struct ScriptObject;
struct Handler;
using ListPtr = std::shared_ptr<List>;
using RecordPtr = std::shared_ptr<Record>;
using DatePtr = std::shared_ptr<Date>;
using SpecifierPtr = std::shared_ptr<const Specifier>;
using ScriptPtr = std::shared_ptr<ScriptObject>;
using HandlerPtr = std::shared_ptr<const Handler>;

// A handler as a value; what it does is its definition's, in the syntax tree.
struct Handler {
    Name name;
};

struct Nothing {
    bool operator==(const Nothing &) const = default;
};

// A named constant: missing value, January, yes, command down ...
struct Constant {
    QString name;
    bool operator==(const Constant &) const = default;
};

// A class as a value: text, integer, window ...
struct ClassName {
    QString name;
    bool operator==(const ClassName &) const = default;
};

// A place in the file system. A folder's path ends in "/".
struct FileReference {
    enum class Kind { alias, file };
    Kind kind = Kind::file;
    QString path; // POSIX
    bool operator==(const FileReference &) const = default;
};

// «...» that means nothing here.
struct RawCode {
    QString code;
    bool operator==(const RawCode &) const = default;
};

class Value {
public:
    using Data = std::variant<Nothing, bool, qint64, double, QString, Constant, ClassName, FileReference, RawCode,
                              ListPtr, RecordPtr, DatePtr, SpecifierPtr, ScriptPtr, HandlerPtr>;

    Value() = default; // no value at all, which is not `missing value`
    Value(bool value) : m_data(value) {}
    Value(qint64 value) : m_data(value) {}
    Value(int value) : m_data(qint64(value)) {}
    Value(double value) : m_data(value) {}
    Value(QString value) : m_data(std::move(value)) {}
    Value(Constant value) : m_data(std::move(value)) {}
    Value(ClassName value) : m_data(std::move(value)) {}
    Value(FileReference value) : m_data(std::move(value)) {}
    Value(RawCode value) : m_data(std::move(value)) {}
    Value(ListPtr value) : m_data(std::move(value)) {}
    Value(RecordPtr value) : m_data(std::move(value)) {}
    Value(DatePtr value) : m_data(std::move(value)) {}
    Value(SpecifierPtr value) : m_data(std::move(value)) {}
    Value(ScriptPtr value) : m_data(std::move(value)) {}
    Value(HandlerPtr value) : m_data(std::move(value)) {}
    template <class T>
    Value(T *) = delete;

    static Value missing();
    static Value list(std::vector<Value> items);
    static Value record(std::vector<std::pair<Name, Value>> fields);
    static Value date(const QDateTime &time);
    static Value specifier(Specifier specifier);

    // Integers of a script end at 2^29 - 1; what a computation makes beyond becomes real.
    static Value number(qint64 value);

    template <class T>
    const T *as() const {
        return std::get_if<T>(&m_data);
    }
    template <class T>
    bool is() const {
        return std::holds_alternative<T>(m_data);
    }
    const Data &data() const { return m_data; }

    bool isNothing() const { return is<Nothing>(); }
    bool isMissing() const;
    bool isNumber() const { return is<qint64>() || is<double>(); }
    double toDouble() const; // of a number; else 0

private:
    Data m_data;
};

struct List final : Collectable {
    std::vector<Value> items;

    List() = default;
    explicit List(std::vector<Value> its) : items(std::move(its)) {}
    ~List() override;
    void release() override;
};

struct Record final : Collectable {
    std::vector<std::pair<Name, Value>> fields; // in the order they were written

    Record() = default;
    explicit Record(std::vector<std::pair<Name, Value>> its) : fields(std::move(its)) {}
    ~Record() override;
    void release() override;
    Value *find(const QString &key);
};

struct Date {
    QDateTime time;
};

// The name of the value's class: "text", "list" ... For a specifier the class of what it names.
QString className(const Value &value);

// Lists, records and dates copied with all they contain.
Value deepCopy(const Value &value);

// Destroys values one after the other, not one inside the other: a list nested a million deep must not end the stack.
void dispose(std::vector<Value> &&values);

} // namespace ombru::applescript
