// The desktop's notification server, org.freedesktop.Notifications on the session bus. Main thread; every call is
// awaited and has a limit. Neither the bus nor the server needs to be there, and both may come and go.
#pragma once
#include "base/Task.h"

#include <QDBusMessage>

#include <optional>

namespace ombru::NotificationServer {

// The server that has the name now; starts one when the desktop knows how to. None when nobody answers.
struct Found {
    QString owner;      // its unique name on the bus
    QString bus;        // the identity of that bus; empty when it does not tell
    int connection = 0; // which of our connections that name belongs to
    bool markup = false;
};
Task<std::optional<Found>> find();

// Calls a method of that server. An error message when it fails.
Task<QDBusMessage> call(Found server, QString method, QVariantList arguments);

// Whether an error means that this server, and all it showed, has gone.
bool hasGone(QDBusMessage reply);

} // namespace ombru::NotificationServer
