#include "applescript/run/Commands.h"

#include "applescript/run/Interpreter.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

// What looks at the words of its object, not only at its value, is the interpreter's own.
Value Commands::run(const Command &command) {
    if (command.application)
        return toApplication(command);
    if (command.name == u"exists")
        return exists(command);
    const Invocation invocation(command, m_run);
    if (command.name == u"get")
        return invocation.direct();
    if (command.name == u"count")
        return qint64(m_run.parts().count(invocation.direct()));
    if (const auto function = m_run.surroundings().commandNamed(command.name))
        return function(invocation);
    throw ScriptError{error::NOT_UNDERSTOOD, u"The command %1 isn’t available on this computer."_s.arg(command.name)};
}

Value Commands::exists(const Command &command) {
    if (!command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for exists."_s};
    try {
        return existsSpecified(*command.direct);
    } catch (const ScriptError &error) {
        if (error.number == error::NO_SUCH_OBJECT || error.number == error::INVALID_INDEX)
            return false;
        throw;
    }
}

Value Commands::existsSpecified(const Expression &object) {
    const Value value = m_run.expressions().specify(object);
    const auto *specifier = value.as<SpecifierPtr>();
    const auto application = specifier ? applicationOf(**specifier) : std::nullopt;
    if (!application)
        return !m_run.follow(value).isNothing();
    if ((*specifier)->form == Specifier::Form::application)
        return !application->id.isEmpty();
    return m_run.events().send({*application, u"exists"_s, value, {}});
}

Value Commands::toApplication(const Command &command) {
    Event event;
    event.command = command.name;
    auto &expressions = m_run.expressions();
    if (command.direct)
        event.direct = m_run.follow(command.describes ? expressions.specify(*command.direct)
                                                      : expressions.evaluate(*command.direct));
    for (const auto &[label, value] : command.parameters)
        event.parameters.emplace_back(label, m_run.data(*value));
    const auto *object = event.direct.as<SpecifierPtr>();
    std::optional<Application> application = object ? applicationOf(**object) : std::nullopt;
    if (object && (*object)->form == Specifier::Form::application)
        event.direct = Value();
    const auto &frame = m_run.scopes().frame();
    const auto *target = frame.target.as<SpecifierPtr>();
    if (!application && target)
        application = applicationOf(**target);
    if (!application)
        throw ScriptError{error::NOT_UNDERSTOOD,
                          u"%1 doesn’t understand the “%2” message."_s.arg(
                              formatSource(event.direct.isNothing() ? Value(frame.me) : event.direct), command.name)};
    event.application = *application;
    return m_run.events().send(event);
}

} // namespace ombru::applescript
