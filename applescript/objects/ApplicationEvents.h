// Events to the applications of this computer: who they are, whether the owner lets the script reach them, and the
// model that answers for each.
#pragma once
#include "applescript/run/Context.h"
#include "applescript/run/Events.h"

#include <memory>

namespace ombru::applescript {

class ApplicationEvents final : public Events {
public:
    explicit ApplicationEvents(Context &context) : m_context(context) {}

    static std::unique_ptr<Events> make(Context &context) { return std::make_unique<ApplicationEvents>(context); }

    Application application(const QString &nameOrId, bool byId) override;
    std::optional<Value> known(const Application &application, const QString &property) override;
    Value send(const Event &event) override;

private:
    class Within;

    Value sendNow(const Event &event);

    Context &m_context;
    std::optional<Clock::Time> m_end; // of the event that is being sent
};

} // namespace ombru::applescript
