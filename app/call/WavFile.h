// Telephone sound in a file that any player knows.
#pragma once
#include "base/Failure.h"

#include <QByteArray>
#include <QString>

namespace ombru {

// G.711 mu-law at 8000 samples a second, mono; kept as it is.
Result<> writeWav(const QString &place, const QByteArray &sound);

} // namespace ombru
