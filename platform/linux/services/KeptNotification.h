// The number of a notification that an earlier process may have left on the screen, kept where the next one finds it: a
// small file in the session's runtime directory, for each bus and identifier. A number counts only for the server that
// gave it; without such a directory none is kept. Any thread; touches a file in memory.
#pragma once
#include "platform/linux/services/NotificationServer.h"

namespace ombru::KeptNotification {

uint number(const QString &id, const NotificationServer::Found &server); // 0: none

void keep(const QString &id, const NotificationServer::Found &server, uint number); // 0: forgets it

} // namespace ombru::KeptNotification
