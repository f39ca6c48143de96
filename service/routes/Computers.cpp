// An account's computers, and what it sets for them.

#include "service/log/Log.h"
#include "service/prompts/Prompts.h"
#include "service/routes/ComputerSettings.h"
#include "service/routes/Handlers.h"
#include "service/routes/Owned.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Task<Response> settingsOf(Service &service, ComputerRecord computer) {
    const auto fields = co_await service.store.ask([id = computer.id](Store &its) { return its.computers.fields(id); });
    if (!fields)
        co_return failed(fields.error());
    co_return answer(settingsJson(*fields, computer, defaultPrompt(computer.platform)));
}

} // namespace

Task<Response> listComputers(Service &service, Asked asked) {
    co_return answer({{u"computers"_s, co_await service.hub->computers(asked.account.id)}});
}

Task<Response> revokeComputer(Service &service, Asked asked) {
    const auto computer = co_await ownComputer(service, asked);
    if (!computer)
        co_return computer.error();
    const auto revoked =
        co_await service.store.ask([id = computer->id](Store &its) { return its.computers.revoke(id); });
    if (!revoked)
        co_return failed(revoked.error());
    service.hub->revoke(computer->id);
    logEvent(u"computer-revoked", {{u"computer", QString::number(computer->id)}, {u"address", asked.address}});
    co_return noContent();
}

Task<Response> forgetHistory(Service &service, Asked asked) {
    const auto computer = co_await ownComputer(service, asked);
    if (!computer)
        co_return computer.error();
    if (const auto gone = co_await service.hub->forget(computer->id); !gone)
        co_return failed(gone.error());
    co_return noContent();
}

Task<Response> showSettings(Service &service, Asked asked) {
    const auto computer = co_await ownComputer(service, asked);
    if (!computer)
        co_return computer.error();
    co_return co_await settingsOf(service, *computer);
}

Task<Response> writeSettings(Service &service, Asked asked) {
    const auto computer = co_await ownComputer(service, asked);
    if (!computer)
        co_return computer.error();
    const auto values = settingsFrom(asked.body);
    if (!values)
        co_return refuse(Refusal::badRequest, values.error().description);
    const auto set = co_await service.store.ask([id = computer->id, values = *values, now = Clock::unixSeconds()](
                                                    Store &its) { return its.computers.setFields(id, values, now); });
    if (!set)
        co_return failed(set.error());
    co_return co_await settingsOf(service, *computer);
}

} // namespace ombru
