// Where ombru's own files go, the screenshots among them.
#pragma once
#include <QString>

namespace ombru {

// The directory "ombru" among the owner's data, for the owner alone; made when it is not there.
QString workDirectory();

QString workDirectoryPath(); // the same, which is not made

} // namespace ombru
