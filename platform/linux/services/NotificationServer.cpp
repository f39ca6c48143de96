#include "platform/linux/services/NotificationServer.h"

#include "base/Background.h"
#include "platform/linux/services/NotificationText.h"
#include "platform/linux/services/SessionBusAddress.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusPendingCallWatcher>

#include <atomic>
#include <mutex>

using namespace Qt::StringLiterals;

namespace ombru::NotificationServer {
namespace {

constexpr int ANSWER_MILLISECONDS = 5'000;
constexpr Clock::Duration CONNECTING = std::chrono::seconds(5);
constexpr Clock::Duration GLANCE = std::chrono::milliseconds(5);
const QString NAME = u"org.freedesktop.Notifications"_s;
const QString CONNECTION = u"ombru.notifications"_s;
std::atomic<int> connections = 0; // made so far; the last one is in use

// Waits for the bus. A connection that broke is replaced.
QDBusConnection connectTo(const QString &address) {
    static std::mutex oneAtATime;
    const std::lock_guard lock(oneAtATime);
    const QDBusConnection present(CONNECTION);
    if (present.isConnected())
        return present;
    QDBusConnection::disconnectFromBus(CONNECTION);
    ++connections;
    return QDBusConnection::connectToBus(address, CONNECTION);
}

// A bus that takes a connection and then says nothing holds the thread that waits for it: one is enough, and whoever
// comes meanwhile waits for that one.
Task<QDBusConnection> sessionBus() {
    static std::atomic<bool> connecting = false;
    const auto end = Clock::now() + CONNECTING;
    while (connecting) {
        if (Clock::now() >= end)
            co_return QDBusConnection(CONNECTION);
        co_await sleep(GLANCE);
    }
    const QDBusConnection present(CONNECTION);
    if (present.isConnected())
        co_return present;
    const QString address = sessionBusAddress();
    if (address.isEmpty())
        co_return present;
    connecting = true;
    const auto bus = co_await backgroundWithin(CONNECTING, {}, [address] {
        auto connection = connectTo(address);
        connecting = false;
        return connection;
    });
    co_return bus.value_or(present);
}

Task<QDBusMessage> send(QDBusConnection bus, QDBusMessage message) {
    const QDBusPendingCallWatcher watcher(bus.asyncCall(message, ANSWER_MILLISECONDS));
    const Completion answered;
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &watcher, [answered] { answered.fire(); });
    co_await answered;
    co_return watcher.reply();
}

QDBusMessage message(const QString &service, const QString &method, const QVariantList &arguments = {}) {
    auto message = QDBusMessage::createMethodCall(service, u"/org/freedesktop/Notifications"_s, NAME, method);
    message.setArguments(arguments);
    return message;
}

// Another bus at the same address has another identity.
Task<QString> identity(QDBusConnection bus) {
    const QString name = u"org.freedesktop.DBus"_s;
    const auto reply =
        co_await send(bus, QDBusMessage::createMethodCall(name, u"/org/freedesktop/DBus"_s, name, u"GetId"_s));
    co_return reply.arguments().value(0).toString();
}

QDBusMessage disconnected() {
    return QDBusMessage::createError(QDBusError::Disconnected, u"the session bus is another one now, or none"_s);
}

} // namespace

Task<std::optional<Found>> find() {
    const QDBusConnection bus = co_await sessionBus();
    if (!bus.isConnected())
        co_return std::nullopt;
    const int connection = connections;
    const QDBusMessage reply = co_await send(bus, message(NAME, u"GetCapabilities"_s));
    if (reply.type() != QDBusMessage::ReplyMessage)
        co_return std::nullopt;
    const QStringList capabilities = reply.arguments().value(0).toStringList();
    co_return Found{reply.service(), co_await identity(bus), connection, readsMarkup(capabilities)};
}

Task<QDBusMessage> call(Found server, QString method, QVariantList arguments) {
    const QDBusConnection bus = co_await sessionBus();
    if (!bus.isConnected() || server.connection != connections)
        co_return disconnected();
    co_return co_await send(bus, message(server.owner, method, arguments));
}

bool hasGone(QDBusMessage reply) {
    switch (QDBusError(reply).type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::Disconnected:
        return true;
    default:
        return QDBusError(reply).name() == u"org.freedesktop.DBus.Error.NameHasNoOwner"_s;
    }
}

} // namespace ombru::NotificationServer
