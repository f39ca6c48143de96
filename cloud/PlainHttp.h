// Whether what passes between this computer and its service can be read on the way. Pure.
#pragma once
#include <QString>

namespace ombru {

// Http, or a channel without encryption, to another host than this one.
bool isReadableOnTheWay(const QString &address);

// What that means, for the owner who sets it.
QString readableOnTheWayText(const QString &address);

} // namespace ombru
