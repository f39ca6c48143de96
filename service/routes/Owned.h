// The computer that a request names, when it is the account's. Main thread.
#pragma once
#include "service/routes/Route.h"

namespace ombru {

// Another account's is answered like one that is not there.
Task<std::expected<ComputerRecord, Response>> ownComputer(Service &service, const Asked &asked);
Task<std::expected<ComputerRecord, Response>> ownComputer(Service &service, qint64 account, qint64 computer);

} // namespace ombru
