// Whether the files of the record are what only their owner could have made: the directory, the database, and what
// SQLite keeps beside it and reads into it (-wal, -journal, -shm). Whoever can write to one of them decides. Any
// thread.
#pragma once
#include "base/Failure.h"

#include <QString>

#include <optional>
#include <sys/stat.h>

namespace ombru {

// The database; none when there is none yet. A Failure, whose description says only what is wrong, when it or one of
// the others is a link, of another kind or another owner, or open to other users' writing. Those that are not there are
// fine.
Result<std::optional<struct stat>> ownRecordFiles(const QString &database);

} // namespace ombru
