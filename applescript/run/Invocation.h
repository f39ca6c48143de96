// A command as it was written, to the function that does it: its name, its direct parameter, its labeled ones. Each is
// evaluated when it is asked for.
//
// Thread: the interpreter's; lives while the command runs.
#pragma once
#include "applescript/run/Context.h"

#include <optional>

namespace ombru::applescript {

struct Command;

class Invocation {
public:
    Invocation(const Command &command, Context &context) : m_command(command), m_context(context) {}

    const QString &name() const;
    bool hasDirect() const;
    Value direct() const; // throws -1701 when there is none
    std::optional<Value> parameter(QStringView label) const;
    bool flag(QStringView label, bool standard) const;
    QString text(QStringView label) const;     // empty when it was not given
    Value asWanted(const Value &result) const; // in the class that the parameter `as` asks for

    Context &context() const { return m_context; }
    Host &host() const { return m_context.host(); }
    const TextRules &rules() const { return m_context.rules(); }

private:
    const Command &m_command;
    Context &m_context;
};

// What does a command. Returns nothing when the command has no result.
using CommandFunction = Value (*)(const Invocation &);

} // namespace ombru::applescript
