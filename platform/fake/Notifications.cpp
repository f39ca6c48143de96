#include "platform/Notifications.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

void requestNotificationPermission() {
    ++FakePlatform::instance().notificationPermissionRequests;
}

void askNotificationsAllowed(std::function<void(bool)> completion) {
    const bool allowed = FakePlatform::instance().notificationsAllowed;
    Loop::main().post([completion = std::move(completion), allowed] { completion(allowed); });
}

void showNotification(const QString &id, const Notification &notification) {
    FakePlatform::instance().notifications.push_back({id, notification});
}

void clearNotification(const QString &id) {
    FakePlatform::instance().notifications.push_back({id, std::nullopt});
}

Task<> notificationsDelivered() {
    co_return;
}

} // namespace ombru
