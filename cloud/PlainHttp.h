// Whether what passes between this computer and a service can be read on the way. Pure.
#pragma once
#include <QString>

namespace ombru {

// Http, or a channel without encryption, to another host than this one.
bool isReadableOnTheWay(const QString &address);

// What that means, for the owner who sets it: of the service that the computer signs in to, and of the one that listens
// and speaks in calls.
QString readableOnTheWayText(const QString &address);
QString speechReadableOnTheWayText(const QString &address);

} // namespace ombru
