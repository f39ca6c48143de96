#include "applescript/objects/ApplicationEvents.h"

#include "applescript/objects/Models.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

void needInstalled(const Application &application) {
    if (application.id.isEmpty())
        throw ScriptError{error::NO_SUCH_OBJECT, u"Can’t get application %1."_s.arg(formatSource(application.name))};
}

// What is known of an application without an event.
struct KnownRow {
    QStringView property;
    Value (*read)(const Application &application); // nothing when it is not known
};

constexpr KnownRow KNOWN[] = {
    {u"name", [](const Application &application) { return Value(application.name); }},
    {u"id", [](const Application &application) { return Value(application.id); }},
    {u"version",
     [](const Application &application) {
         const auto *own = builtInWithId(application.id);
         return own ? Value(own->version.toString()) : Value();
     }},
};

} // namespace

Application ApplicationEvents::application(const QString &nameOrId, bool byId) {
    if (const auto *own = byId ? builtInWithId(nameOrId) : builtInNamed(nameOrId))
        return {own->id.toString(), own->name.toString(), {}};
    auto &here = m_context.host().applications();
    const auto found = byId ? here.applicationWithId(nameOrId) : here.applicationNamed(nameOrId);
    return found.value_or(Application{{}, nameOrId, {}});
}

std::optional<Value> ApplicationEvents::known(const Application &application, const QString &property) {
    if (property == u"running") {
        if (application.id.isEmpty())
            return Value(false);
        return Value(builtInWithId(application.id) || m_context.host().applications().isRunning(application.id));
    }
    const auto *row = std::ranges::find(KNOWN, QStringView(property), &KnownRow::property);
    if (row == std::end(KNOWN))
        return std::nullopt;
    needInstalled(application);
    Value value = row->read(application);
    return value.isNothing() ? std::nullopt : std::optional(std::move(value));
}

Value ApplicationEvents::send(const Event &event) {
    const Application &application = event.application;
    needInstalled(application);
    if (const auto authorized = m_context.host().applications().authorize(application); !authorized)
        throw ScriptError{authorized.error().code, authorized.error().description};
    try {
        return modelOf(m_context, application)->perform(event);
    } catch (ScriptError &error) {
        const QString prefix = application.name + u" got an error: "_s;
        // A test of `whose` may have sent an event elsewhere: that it was refused is not this application's error.
        const bool own = error.number != error::CANCELED && error.number != error::NOT_AUTHORIZED;
        if (own && !error.message.startsWith(prefix))
            error.message.prepend(prefix);
        throw;
    }
}

} // namespace ombru::applescript
