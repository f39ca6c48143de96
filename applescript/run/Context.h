// What commands and objects may ask of the script that runs them: the narrow side of the interpreter.
//
// Thread: the interpreter's. Lives as long as the run; nothing that outlives it may keep it.
#pragma once
#include "applescript/host/Host.h"
#include "applescript/values/Text.h"
#include "applescript/values/Value.h"

namespace ombru::applescript {

class Events;
struct Expression;

class Context {
public:
    virtual ~Context() = default;

    virtual Host &host() = 0;
    virtual Events &events() = 0;
    virtual const TextRules &rules() const = 0;
    virtual std::optional<Clock::Duration> timeLimit() const = 0; // for one event, of `with timeout`
    virtual Value data(const Expression &expression) = 0;         // its value, with every reference followed
    virtual Value follow(Value value) = 0; // a reference into the script's own values becomes what it names

    virtual Value runScript(const ScriptPtr &script) = 0;                         // its handler `run`
    virtual Value runText(const QString &text, const QStringList &arguments) = 0; // as a script of its own
};

} // namespace ombru::applescript
