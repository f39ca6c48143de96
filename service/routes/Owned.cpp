#include "service/routes/Owned.h"

namespace ombru {

using namespace Qt::StringLiterals;

Task<std::expected<ComputerRecord, Response>> ownComputer(Service &service, const Asked &asked) {
    return ownComputer(service, asked.account.id, asked.id.toLongLong());
}

Task<std::expected<ComputerRecord, Response>> ownComputer(Service &service, qint64 account, qint64 computer) {
    const auto found = co_await service.store.ask([computer](Store &its) { return its.computers.find(computer); });
    if (!found)
        co_return std::unexpected(failed(found.error()));
    if (!*found || (*found)->account != account)
        co_return std::unexpected(refuse(Refusal::notFound, u"There is no such thing here."_s));
    co_return **found;
}

} // namespace ombru
