// Commands to applications.
#include "applescript/run/Interpreter.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

Value Interpreter::resolveApplication(const Value &key, bool byId) {
    return applicationValue(m_events->application(toText(follow(key), m_rules), byId));
}

Value Interpreter::get(const SpecifierPtr &specifier) {
    return m_events->send({*applicationOf(*specifier), u"get"_s, specifier, {}});
}

Value Interpreter::applicationCommand(const Command &command) {
    Event event;
    event.command = command.name;
    if (command.direct)
        event.direct = follow(command.describes ? specify(*command.direct) : evaluate(*command.direct));
    for (const auto &[label, value] : command.parameters)
        event.parameters.emplace_back(label, data(*value));
    const auto *object = event.direct.as<SpecifierPtr>();
    std::optional<Application> application = object ? applicationOf(**object) : std::nullopt;
    if (object && (*object)->form == Specifier::Form::application)
        event.direct = Value();
    const auto *target = m_frame->target.as<SpecifierPtr>();
    if (!application && target)
        application = applicationOf(**target);
    if (!application)
        throw ScriptError{
            error::NOT_UNDERSTOOD,
            u"%1 doesn’t understand the “%2” message."_s.arg(
                formatSource(event.direct.isNothing() ? Value(m_frame->me) : event.direct), command.name)};
    event.application = *application;
    return m_events->send(event);
}

} // namespace ombru::applescript
