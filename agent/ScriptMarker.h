// What the log lines begin with by which a running script reports the line it has reached.
#pragma once
#include <QStringView>

namespace ombru {

inline constexpr QStringView MARKER = u"§L";

} // namespace ombru
