// How the interpreter reaches applications. Every event to one goes through here and nowhere else.
//
// Thread: the interpreter's. Lives as long as the run.
#pragma once
#include "applescript/values/Application.h"
#include "applescript/values/Value.h"

#include <algorithm>
#include <optional>

namespace ombru::applescript {

// One event to an application: a command with what it is about.
struct Event {
    Application application;
    QString command;
    Value direct; // nothing when the command has none
    std::vector<std::pair<QString, Value>> parameters;

    const Value *parameter(QStringView label) const {
        const auto found = std::ranges::find(parameters, label, &std::pair<QString, Value>::first);
        return found == parameters.end() ? nullptr : &found->second;
    }
};

class Events {
public:
    virtual ~Events() = default;

    // An application as scripts call it. One that is not here is known by its name alone, without an identifier: it can
    // be asked whether it runs, and nothing else.
    virtual Application application(const QString &nameOrId, bool byId) = 0;

    // What is known of an application without asking it: this sends no event. Nothing when it has to be asked.
    virtual std::optional<Value> known(const Application &application, const QString &property) = 0;

    // Throws ScriptError -1743 when the owner does not let this script send it.
    virtual Value send(const Event &event) = 0;
};

} // namespace ombru::applescript
