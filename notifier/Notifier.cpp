#include "notifier/Notifier.h"

#include "platform/Notifications.h"

namespace ombru::Notifier {

void requestPermission() {
    requestNotificationPermission();
}

void allowed(std::function<void(bool)> completion) {
    askNotificationsAllowed(std::move(completion));
}

void update(const QString &title, const QString &body, bool prominent) {
    showNotification(id, {title, body, QStringLiteral("ombru"), prominent});
}

void clear() {
    clearNotification(id);
}

Task<> delivered() {
    return notificationsDelivered();
}

} // namespace ombru::Notifier
