// The layout of the database, by versions. On the store's thread.
#pragma once
#include "service/store/Database.h"

namespace ombru {

constexpr int SCHEMA_VERSION = 4;

// Brings it up to this version, all or nothing. A Failure for a newer one, or one that is something else; it is not
// changed then.
Result<> migrate(Database &database);

// The same, without a change.
enum class IfEmpty { fits, isRefused };
Result<> checkVersion(Database &database, IfEmpty ifEmpty = IfEmpty::isRefused);

} // namespace ombru
