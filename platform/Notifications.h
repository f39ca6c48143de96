// Notifications to the owner, shown by the desktop. Main thread. Nothing here waits for the desktop: an update is
// handed over as soon as the one before it has been answered, only the latest one waits for that, and what cannot be
// shown is dropped.
#pragma once
#include "base/Task.h"

#include <QString>

#include <functional>

namespace ombru {

struct Notification {
    QString title;
    QString body;           // plain text
    QString thread;         // what belongs together in the desktop's list
    bool prominent = false; // shown as a banner; otherwise it only lands in the list, where the desktop keeps one

    bool operator==(const Notification &) const = default;
};

// Asks for permission to show them, where the system wants to be asked.
void requestNotificationPermission();

// Calls back, later and on the main thread, with whether notifications reach the owner.
void askNotificationsAllowed(std::function<void(bool)> completion);

// Shows it in place of the one shown before with that id, or as a new one.
void showNotification(const QString &id, const Notification &notification);

// Takes the one with that id away.
void clearNotification(const QString &id);

// Ends once everything asked for above has been answered, or been given up after some seconds of silence. To be
// awaited before the program ends.
Task<> notificationsDelivered();

} // namespace ombru
