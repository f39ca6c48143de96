// What ombru keeps about its owner on this computer, in files. Any thread.
#pragma once
#include "base/Failure.h"

#include <QString>

#include <vector>

namespace ombru {

struct OwnerData {
    QString path;
    QString meaning;
};

// Those that are there.
std::vector<OwnerData> ownerData();

// With all that is in it. Of a link the link alone: where it leads to is not ours.
Result<> remove(const OwnerData &data);

} // namespace ombru
