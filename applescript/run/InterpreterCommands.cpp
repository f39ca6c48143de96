// The commands of the language itself, and the way to all others.
#include "applescript/run/Interpreter.h"
#include "applescript/syntax/Parser.h"
#include "applescript/values/Coercion.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

// What looks at the words of its object, not only at its value, is the interpreter's own.
Value Interpreter::command(const Command &command) {
    if (command.application)
        return applicationCommand(command);
    if (command.name == u"count")
        return countCommand(command);
    if (command.name == u"exists")
        return existsCommand(command);
    const Invocation invocation(command, *this);
    if (command.name == u"get")
        return invocation.direct();
    if (const auto function = m_surroundings.commandNamed(command.name))
        return function(invocation);
    throw ScriptError{error::NOT_UNDERSTOOD, u"The command %1 isn’t available on this computer."_s.arg(command.name)};
}

Value Interpreter::runScript(const ScriptPtr &script) {
    ScriptPtr owner = script;
    const auto handler = findHandler(owner, u"run"_s);
    if (!handler)
        throw ScriptError{error::NOT_UNDERSTOOD, u"«script» doesn’t understand the “run” message."_s};
    return invoke(owner, handler, {}, {});
}

// Places in that text mean nothing in this one.
Value Interpreter::runText(const QString &text, const QStringList &arguments) {
    try {
        const auto script = Parser(text, m_surroundings.vocabulary).parse();
        return Interpreter(m_surroundings).run(script, arguments, text);
    } catch (const SyntaxError &error) {
        throw ScriptError{error.number, error.message};
    } catch (const ScriptError &error) {
        throw ScriptError{error.number, error.message};
    }
}

Value Interpreter::countCommand(const Command &command) {
    if (!command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for count."_s};
    return Value(qint64(countOf(data(*command.direct))));
}

Value Interpreter::existsCommand(const Command &command) {
    if (!command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for exists."_s};
    try {
        const Value value = specify(*command.direct);
        const auto *specifier = value.as<SpecifierPtr>();
        if (specifier && applicationOf(**specifier)) {
            if ((*specifier)->form == Specifier::Form::application)
                return !(*specifier)->application.id.isEmpty();
            return m_events->send({*applicationOf(**specifier), u"exists"_s, value, {}});
        }
        return !follow(value).isNothing();
    } catch (const ScriptError &error) {
        if (error.number == error::NO_SUCH_OBJECT || error.number == error::INVALID_INDEX)
            return false;
        throw;
    }
}

} // namespace ombru::applescript
