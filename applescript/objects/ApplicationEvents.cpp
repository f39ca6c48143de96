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

// While it lives, the host waits for others no longer than the event may take, nor than one around it.
class ApplicationEvents::Within {
public:
    explicit Within(ApplicationEvents &events) : m_events(events), m_before(events.m_end) {
        const auto limit = m_events.m_context.timeLimit();
        if (limit)
            set(std::min(Clock::now() + *limit, m_before.value_or(Clock::Time::max())));
    }
    ~Within() {
        if (m_events.m_end != m_before)
            set(m_before);
    }
    Within(const Within &) = delete;
    Within &operator=(const Within &) = delete;

    bool passed() const { return m_events.m_end && *m_events.m_end <= Clock::now(); }

private:
    void set(std::optional<Clock::Time> end) {
        m_events.m_end = end;
        m_events.m_context.host().limitWaits(end);
    }

    ApplicationEvents &m_events;
    std::optional<Clock::Time> m_before;
};

// An event that took too long has failed, whatever came of it.
Value ApplicationEvents::send(const Event &event) {
    needInstalled(event.application);
    const Within within(*this);
    Value answer;
    try {
        answer = sendNow(event);
    } catch (const ScriptError &) {
        if (!within.passed())
            throw;
    }
    if (within.passed())
        throw ScriptError{error::TIMED_OUT, event.application.name + u" got an error: AppleEvent timed out."_s};
    return answer;
}

Value ApplicationEvents::sendNow(const Event &event) {
    const Application &application = event.application;
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
