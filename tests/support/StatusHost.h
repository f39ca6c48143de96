// What a desktop's host of status items does, over the session bus: a watcher as a program of its own, and calls to the
// item and its menu. For one test; main thread.
#pragma once
#include "tests/support/Companion.h"
#include "tests/support/Wait.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QFile>

#include <gtest/gtest.h>
#include <optional>

namespace ombru::test {

class StatusHost {
protected:
    ~StatusHost() { leaveBus(); }

    // Connects anew the next time, to the bus that the environment names then.
    static void leaveBus() { QDBusConnection::disconnectFromBus(QStringLiteral("host")); }

    std::unique_ptr<Companion> watcher(bool hasHost = true) const {
        QByteArrayList command{QFile::encodeName(QCoreApplication::applicationDirPath()) + "/status-watcher", "%fd"};
        if (hasHost)
            command.append("host");
        return std::make_unique<Companion>(command, "");
    }
    void setHost(bool present) {
        const auto reply =
            call(WATCHER, QStringLiteral("/StatusNotifierWatcher"), WATCHER, QStringLiteral("SetHost"), {present});
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    }
    QDBusMessage call(const QString &service, const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments) const {
        auto message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const auto pending = bus().asyncCall(message);
        EXPECT_TRUE(waitUntil([&pending] { return pending.isFinished(); }));
        return pending.reply();
    }
    QVariant property(const QString &service, const QString &path, const QString &interface,
                      const QString &name) const {
        const auto reply = call(service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                                {interface, name});
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
    std::optional<QStringList> watcherItems() const {
        const auto items = property(WATCHER, QStringLiteral("/StatusNotifierWatcher"), WATCHER,
                                    QStringLiteral("RegisteredStatusNotifierItems"));
        return items.isValid() ? std::optional(items.toStringList()) : std::nullopt;
    }
    // One after another, those of all programs.
    QString namesOnBus() const {
        const QString name = QStringLiteral("org.freedesktop.DBus");
        const auto reply = call(name, QStringLiteral("/org/freedesktop/DBus"), name, QStringLiteral("ListNames"), {});
        return reply.arguments().value(0).toStringList().join(u' ');
    }
    // The one item that is registered.
    QString item() const {
        std::optional<QStringList> items;
        EXPECT_TRUE(waitUntil([&] {
            items = watcherItems();
            return items && items->size() == 1;
        })) << items.value_or(QStringList()).join(u' ').toStdString();
        return items.value_or(QStringList()).value(0);
    }
    QDBusMessage callItem(const QString &method, const QVariantList &arguments) const {
        return call(item(), QStringLiteral("/StatusNotifierItem"), ITEM, method, arguments);
    }
    QDBusMessage callMenu(const QString &method, const QVariantList &arguments) const {
        return call(item(), QStringLiteral("/MenuBar"), MENU, method, arguments);
    }

    static QDBusConnection bus() {
        const QDBusConnection present(QStringLiteral("host"));
        return present.isConnected() ? present
                                     : QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"),
                                                                     QStringLiteral("host"));
    }

    static inline const QString WATCHER = QStringLiteral("org.kde.StatusNotifierWatcher");
    static inline const QString ITEM = QStringLiteral("org.kde.StatusNotifierItem");
    static inline const QString MENU = QStringLiteral("com.canonical.dbusmenu");
};

} // namespace ombru::test
