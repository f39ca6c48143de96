// Files written in one go. Blocking; any thread.
#pragma once
#include "base/Failure.h"

#include <QByteArray>
#include <QString>

namespace ombru {

// The file appears whole or not at all, readable by the owner only, and replaces one of that name. The Failure (domain
// "file", code errno) says what went wrong.
Result<> writeWholeFile(const QString &path, const QByteArray &bytes);

} // namespace ombru
