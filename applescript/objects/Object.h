// One thing an application shows to scripts: the application itself, a process, a window. What it has is a table of its
// class, so that a property is one row (name, reader, writer), and so is a class of elements; finding among elements is
// ObjectModel's and the same for all.
//
// Made for one event from what the host says then. Thread: the interpreter's.
#pragma once
#include "applescript/syntax/Dictionary.h"
#include "applescript/values/Value.h"

#include <QPoint>

#include <algorithm>
#include <span>

namespace ombru::applescript {

class Object;
using ObjectPtr = std::shared_ptr<Object>;
using Objects = std::vector<ObjectPtr>;

class Object {
public:
    virtual ~Object() = default;

    virtual Value reference() const = 0; // its own description, which finds this very object as long as it lives
    virtual QString name() const { return {}; }
    virtual Value id() const { return {}; }
    virtual quint64 identity() const { return 0; } // of the very object, for Specifier::identity; 0 when it has none

    virtual Value property(QStringView name) = 0;                       // nothing when it has none of this name
    virtual bool setProperty(QStringView name, const Value &value) = 0; // false when it cannot be that
    virtual std::optional<Objects> elements(QStringView className) = 0; // nothing when they cannot be listed
    virtual ObjectPtr elementNamed(QStringView className, const Value &name) = 0; // by a name that is not its own
    virtual bool hides(QStringView) const { return false; } // may have elements of that class, which cannot be read

    // What it can do; false, or nothing, when it cannot.
    virtual std::optional<QPoint> middle() const { return std::nullopt; } // where a click on it goes
    virtual bool perform() { return false; }
    virtual bool close() { return false; }
};

template <class T>
struct PropertyRow {
    QStringView name;
    Value (T::*read)() const;
    bool (T::*write)(const Value &) = nullptr; // false when it cannot be that
};

template <class T>
struct ElementRow {
    QStringView className;
    Objects (T::*all)();                                // null: only reached by name
    ObjectPtr (T::*named)(const Value &name) = nullptr; // by a name that is not its own
};

template <class T>
struct ClassTable {
    std::span<const PropertyRow<T>> properties;
    std::span<const ElementRow<T>> elements;
};

// The words for what the table has.
template <class T>
void addWords(Dictionary &dictionary, const ClassTable<T> &table) {
    for (const auto &row : table.properties)
        dictionary.addProperties(row.name);
}

// An object whose class has a table: T::table().
template <class T>
class TableObject : public Object {
public:
    Value property(QStringView name) final {
        const auto *row = find(T::table().properties, &PropertyRow<T>::name, name);
        return row ? (self().*row->read)() : Value();
    }
    bool setProperty(QStringView name, const Value &value) final {
        const auto *row = find(T::table().properties, &PropertyRow<T>::name, name);
        return row && row->write && (self().*row->write)(value);
    }
    std::optional<Objects> elements(QStringView className) final {
        const auto *row = find(T::table().elements, &ElementRow<T>::className, className);
        return row && row->all ? std::optional((self().*row->all)()) : std::nullopt;
    }
    ObjectPtr elementNamed(QStringView className, const Value &name) final {
        const auto *row = find(T::table().elements, &ElementRow<T>::className, className);
        return row && row->named ? (self().*row->named)(name) : nullptr;
    }

private:
    T &self() { return static_cast<T &>(*this); }

    template <class Row>
    static const Row *find(std::span<const Row> rows, QStringView Row::*key, QStringView name) {
        const auto found = std::ranges::find(rows, name, key);
        return found == rows.end() ? nullptr : &*found;
    }
};

} // namespace ombru::applescript
