// What a caller says to hear the computer's audio, or to hear it no more. Pure; a text may match both.
#pragma once
#include <QString>

namespace ombru {

bool asksToShare(const QString &text);
bool asksToStopSharing(const QString &text);

} // namespace ombru
