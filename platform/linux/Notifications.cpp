#include "platform/Notifications.h"

#include "platform/linux/services/KeptNotification.h"
#include "platform/linux/services/NotificationServer.h"

#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

// One notification: what it should be, and what the server was last told.
struct Slot {
    std::optional<Notification> wanted; // nothing: taken away
    bool news = false;                  // `wanted` has not been told yet
    bool talking = false;               // one conversation at a time: an update needs the number of its forerunner
    std::optional<NotificationServer::Found> server; // that gave the number
    uint number = 0;                                 // 0: nothing of ours is shown
};

// Lives as long as the last conversation.
struct Desk {
    TaskScope scope;
    std::map<QString, Slot> slots;
};

std::shared_ptr<Desk> desk() {
    static const auto desk = std::make_shared<Desk>();
    return desk;
}

QVariantList notifyArguments(const Slot &slot, const Notification &notification) {
    const QString body = slot.server->markup ? notification.body.toHtmlEscaped() : notification.body;
    const QVariantMap hints{{u"urgency"_s, QVariant::fromValue(static_cast<uchar>(notification.prominent ? 1 : 0))}};
    return {notification.thread, slot.number, QString(), notification.title, body, QStringList(), hints, -1};
}

QVariantList arguments(const Slot &slot) {
    return slot.wanted ? notifyArguments(slot, *slot.wanted) : QVariantList{slot.number};
}

// Tells the server what the slot should be. True when it has to be told again because the server has gone.
Task<bool> tellOnce(std::shared_ptr<Desk> desk, QString id) {
    Slot &slot = desk->slots[id];
    if (!slot.server) {
        slot.server = co_await NotificationServer::find();
        // What an earlier process left on the screen is replaced.
        slot.number = slot.server ? KeptNotification::number(id, *slot.server) : 0;
    }
    slot.news = false;
    const bool shows = slot.wanted.has_value();
    if (!slot.server || (!shows && slot.number == 0))
        co_return false;
    const QString method = shows ? u"Notify"_s : u"CloseNotification"_s;
    const QDBusMessage reply = co_await NotificationServer::call(*slot.server, method, arguments(slot));
    if (NotificationServer::hasGone(reply)) {
        slot.server.reset();
        slot.number = 0;
        co_return true;
    }
    if (reply.type() == QDBusMessage::ReplyMessage) {
        slot.number = shows ? reply.arguments().value(0).toUInt() : 0;
        KeptNotification::keep(id, *slot.server, slot.number);
    }
    co_return false;
}

Task<> talk(std::shared_ptr<Desk> desk, QString id) {
    Slot &slot = desk->slots[id];
    slot.talking = true;
    while (std::exchange(slot.news, false)) {
        const bool gone = co_await tellOnce(desk, id);
        if (gone)
            co_await tellOnce(desk, id);
    }
    slot.talking = false;
}

void want(const QString &id, std::optional<Notification> notification) {
    Slot &slot = desk()->slots[id];
    slot.wanted = std::move(notification);
    slot.news = true;
    if (!slot.talking)
        desk()->scope.start(talk(desk(), id));
}

Task<> answer(std::function<void(bool)> completion) {
    const auto server = co_await NotificationServer::find();
    const Completion later; // also when there was nobody to wait for
    later.fire();
    co_await later;
    completion(server.has_value());
}

Task<> drain(std::shared_ptr<Desk> desk) {
    co_await desk->scope.drain();
}

} // namespace

// The desktop shows them without being asked.
void requestNotificationPermission() {}

void askNotificationsAllowed(std::function<void(bool)> completion) {
    desk()->scope.start(answer(std::move(completion)));
}

void showNotification(const QString &id, const Notification &notification) {
    want(id, notification);
}

void clearNotification(const QString &id) {
    want(id, std::nullopt);
}

Task<> notificationsDelivered() {
    return drain(desk());
}

} // namespace ombru
