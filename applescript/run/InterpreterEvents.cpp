// Applications: who they are, and the one way events reach them.
#include "applescript/run/DesktopModel.h"
#include "applescript/run/Interpreter.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

const Value *Event::parameter(QStringView label) const {
    for (const auto &[name, value] : parameters) {
        if (name == label)
            return &value;
    }
    return nullptr;
}

// One that is not installed is known by its name alone: it can be asked whether it runs, and nothing else.
Value Interpreter::resolveApplication(const Value &key, bool byId) {
    const QString name = toText(follow(key), m_rules);
    if (name.compare(byId ? SYSTEM_EVENTS_ID : QStringView(u"System Events"), Qt::CaseInsensitive) == 0)
        return applicationValue({SYSTEM_EVENTS_ID.toString(), u"System Events"_s, {}});
    const auto found =
        byId ? m_host.applications().applicationWithId(name) : m_host.applications().applicationNamed(name);
    return applicationValue(found.value_or(Application{{}, name, {}}));
}

// What is known of an application without asking it: this sends no event.
std::optional<Value> Interpreter::applicationProperty(const Application &application, const QString &name) {
    const bool systemEvents = application.id == SYSTEM_EVENTS_ID;
    if (name == u"running")
        return Value(systemEvents || (!application.id.isEmpty() && m_host.applications().isRunning(application.id)));
    const bool known = name == u"name" || name == u"id" || name == u"version";
    if (!known)
        return std::nullopt;
    if (application.id.isEmpty())
        throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get application %1."_s.arg(formatSource(application.name))};
    if (name == u"name")
        return Value(application.name);
    if (name == u"id")
        return Value(application.id);
    return systemEvents ? std::optional(Value(u"1.3.6"_s)) : std::nullopt;
}

Value Interpreter::get(const SpecifierPtr &specifier) {
    return sendEvent({*applicationOf(*specifier), u"get"_s, specifier, {}});
}

// Every event to an application passes here and nowhere else.
Value Interpreter::sendEvent(const Event &event) {
    const Application &application = event.application;
    if (application.id.isEmpty())
        throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get application %1."_s.arg(formatSource(application.name))};
    if (const auto authorized = m_host.applications().authorize(application); !authorized)
        throw ScriptError{authorized.error().code, authorized.error().description};
    try {
        return DesktopModel(*this, application).perform(event);
    } catch (ScriptError &error) {
        const QString prefix = application.name + u" got an error: "_s;
        // A test of `whose` may have sent an event elsewhere: that it was refused is not this application's error.
        const bool own = error.number != error::CANCELED && error.number != error::NOT_AUTHORIZED;
        if (own && !error.message.startsWith(prefix))
            error.message.prepend(prefix);
        throw;
    }
}

Value Interpreter::applicationCommand(const Command &command) {
    Event event;
    event.command = command.name;
    if (command.direct)
        event.direct =
            follow(command.name == u"click" || command.name == u"perform" || command.name == u"close" ||
                           command.name == u"activate" || command.name == u"quit" || command.name == u"launch"
                       ? specify(*command.direct)
                       : evaluate(*command.direct));
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
    return sendEvent(event);
}

} // namespace ombru::applescript
