// What an application shows and does: its objects, found by description, their properties, and its commands. There is
// one for System Events and one for any other application; one model serves one event.
//
// Thread: the interpreter's. Throws ScriptError in the words of the original, without the application's name in front.
#pragma once
#include "applescript/objects/Object.h"
#include "applescript/run/Context.h"
#include "applescript/run/Events.h"
#include "applescript/values/Errors.h"
#include "applescript/values/Specifier.h"

namespace ombru::applescript {

class ObjectModel {
public:
    ObjectModel(Context &context, Application application)
        : m_context(context), m_application(std::move(application)) {}
    virtual ~ObjectModel() = default;
    ObjectModel(const ObjectModel &) = delete;
    ObjectModel &operator=(const ObjectModel &) = delete;

    Value perform(const Event &event);

    Context &context() const { return m_context; }
    const Application &application() const { return m_application; }
    const Windows &windows() const;
    Held<Windows> windowsToChange() const;             // for one operation
    const std::vector<ProcessInfo> &processes() const; // read once

protected:
    virtual Object &root() = 0;                    // the application itself
    virtual Value command(const Event &event) = 0; // other than get, set and exists

    // What a specifier names. Throws -1728 or -1719 when that is not there, unless it is every or a filter, and -1708
    // when nothing here can tell.
    Objects resolve(const Specifier &specifier);
    ObjectPtr single(const Value &value);

private:
    Value get(const Specifier &specifier);
    Value getProperty(const Specifier &specifier);
    void set(const Specifier &specifier, const Value &value);
    bool exists(const Specifier &specifier);
    Objects elements(Object &container, const Specifier &part);
    Objects choose(Object &container, Objects candidates, const Specifier &part);
    ObjectPtr withNameOrId(Object &container, const Objects &candidates, const Specifier &part);

    Context &m_context;
    Application m_application;
    mutable std::optional<std::vector<ProcessInfo>> m_processes;
};

// A command of a model: how it is written and what does it, or nothing when it is only known, so that a script that
// uses it compiles and can catch the refusal.
template <class Model>
struct CommandRow {
    CommandWords words;
    Value (Model::*run)(const Event &event) = nullptr;
};

template <class Model>
void addWords(Dictionary &dictionary, std::span<const CommandRow<Model>> rows) {
    for (const auto &row : rows) {
        auto words = row.words;
        words.application = true;
        dictionary.addCommand(words);
    }
}

template <class Model>
const CommandRow<Model> *commandNamed(std::span<const CommandRow<Model>> rows, QStringView name) {
    const auto found = std::ranges::find_if(rows, [&](const auto &row) { return row.words.name == name && row.run; });
    return found == rows.end() ? nullptr : &*found;
}

[[noreturn]] void failToGet(const Specifier &part, int number = error::NO_SUCH_OBJECT);
[[noreturn]] void failToRead(const Specifier &part); // of what an object hides
[[noreturn]] void failNotUnderstood(const Value &object, const QString &command);

} // namespace ombru::applescript
