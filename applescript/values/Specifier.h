// A reference to something by description: `window 1 of process "Finder" of application "System Events"`, or
// `item 2 of {...}` for a loop's variable. A chain of containers from the innermost part outward; the outermost one is
// an application, or a value of the script.
//
// Immutable values, shared freely.
#pragma once
#include "applescript/values/Application.h"
#include "applescript/values/Value.h"

#include <functional>

namespace ombru::applescript {

// The test of a `whose`, bound to where it was written.
struct Filter {
    std::function<bool(const Value &candidate)> accepts;
    QString written; // the test's own text, for messages
};

struct Specifier {
    enum class Form {
        application, // a root: `application`
        variable,    // a root: a script's variable, name
        property,    // name of container
        index,       // name key; negative counts from the end
        named,       // name "key"
        byId,        // name id key
        every,       // every name
        range,       // names key thru last
        middle,
        some,
        before, // name before key
        after,
        beginning, // an insertion point, as are end, ahead (before key) and behind (after key)
        end,
        ahead,
        behind
    };

    Form form = Form::property;
    QString name; // class or property, singular
    Value container;
    Value key;
    Value last;
    std::shared_ptr<const Filter> filter; // every, index, middle, some
    Application application;
    std::shared_ptr<Value> variable;
    quint64 identity = 0; // the very object, when an object model made this: process id or window handle

    ~Specifier();
    Specifier() = default;
    Specifier(const Specifier &) = default;
    Specifier(Specifier &&) = default;
    Specifier &operator=(const Specifier &) = default;
    Specifier &operator=(Specifier &&) = default;

    const Specifier *containerSpecifier() const;
    bool isPlural() const { return form == Form::range || form == Form::every; }
};

// The application that a specifier belongs to; nothing when it belongs to a value of the script.
std::optional<Application> applicationOf(const Specifier &specifier);

Value applicationValue(Application application);
Value propertyOf(const QString &name, Value container);

} // namespace ombru::applescript
