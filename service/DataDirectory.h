// Where a service keeps everything, and who works on it. Any thread.
#pragma once
#include "base/Descriptor.h"
#include "base/Failure.h"

namespace ombru {

// The database in a directory, which is made, for its owner only, when it is not there.
Result<QString> databaseIn(const QString &directory);

// Held by a service as long as it runs, and by whoever puts other data in their place: a Failure when somebody holds
// it.
class DataLock {
public:
    static Result<DataLock> take(const QString &directory);

private:
    explicit DataLock(Descriptor file) : m_file(std::move(file)) {}
    Descriptor m_file;
};

} // namespace ombru
