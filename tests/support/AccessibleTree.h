// What a screen reader gets of the programs on this session bus: the tree of the accessibility bus (AT-SPI), read as
// such a reader does. For a test in a private desktop, with a session bus that the programs share; main thread.
#pragma once
#include "tests/support/Companion.h"
#include "tests/support/Wait.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QStringList>

namespace ombru::test {

struct AccessibleReference {
    QString service;
    QDBusObjectPath path;
};

inline QDBusArgument &operator<<(QDBusArgument &message, const AccessibleReference &value) {
    message.beginStructure();
    message << value.service << value.path;
    message.endStructure();
    return message;
}
inline const QDBusArgument &operator>>(const QDBusArgument &message, AccessibleReference &value) {
    message.beginStructure();
    message >> value.service >> value.path;
    message.endStructure();
    return message;
}

class AccessibleTree {
public:
    AccessibleTree() {
        qDBusRegisterMetaType<AccessibleReference>();
        qDBusRegisterMetaType<QList<AccessibleReference>>();
        const auto session = QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), SESSION);
        const QString bus = QStringLiteral("org.a11y.Bus");
        QString address;
        EXPECT_TRUE(waitUntil([&] {
            const auto reply = call(session, {bus, QDBusObjectPath(QStringLiteral("/org/a11y/bus"))}, bus,
                                    QStringLiteral("GetAddress"));
            address = reply.arguments().value(0).toString();
            return reply.type() == QDBusMessage::ReplyMessage;
        }));
        m_bus = QDBusConnection::connectToBus(address, ACCESSIBILITY);
        EXPECT_TRUE(m_bus.isConnected()) << address.toStdString() << m_bus.lastError().message().toStdString();
    }
    ~AccessibleTree() {
        QDBusConnection::disconnectFromBus(SESSION);
        QDBusConnection::disconnectFromBus(ACCESSIBILITY);
    }

    // "role: name" of all that has a name and shows, as it is read, from top to bottom.
    QStringList read() const {
        QStringList found;
        readBelow(root(), found);
        return found;
    }

    // The roles of what shows and has neither a name nor anything in it that shows: a reader would find nothing to say.
    // Scroll bars are known by their role.
    QStringList nameless() const {
        QStringList found;
        namelessBelow(root(), found);
        found.removeAll(QStringLiteral("scroll bar"));
        return found;
    }

private:
    static AccessibleReference root() {
        return {QStringLiteral("org.a11y.atspi.Registry"),
                QDBusObjectPath(QStringLiteral("/org/a11y/atspi/accessible/root"))};
    }
    QString role(const AccessibleReference &object) const {
        return ask(object, QStringLiteral("GetRoleName")).toString();
    }
    QList<AccessibleReference> children(const AccessibleReference &object) const {
        return qdbus_cast<QList<AccessibleReference>>(ask(object, QStringLiteral("GetChildren")));
    }
    bool namelessBelow(const AccessibleReference &object, QStringList &found) const {
        bool anyShows = false;
        for (const auto &child : children(object)) {
            const bool isShown = shows(child);
            const bool hasContents = namelessBelow(child, found);
            if (isShown && !hasContents && name(child).isEmpty())
                found += role(child);
            anyShows = anyShows || isShown || hasContents;
        }
        return anyShows;
    }

    static QDBusMessage call(const QDBusConnection &bus, const AccessibleReference &object, const QString &interface,
                             const QString &method, const QVariantList &arguments = {}) {
        auto message = QDBusMessage::createMethodCall(object.service, object.path.path(), interface, method);
        message.setArguments(arguments);
        const auto pending = bus.asyncCall(message);
        EXPECT_TRUE(waitUntil([&pending] { return pending.isFinished(); }));
        return pending.reply();
    }
    QVariant ask(const AccessibleReference &object, const QString &method) const {
        return call(m_bus, object, INTERFACE, method).arguments().value(0);
    }
    QString name(const AccessibleReference &object) const {
        const auto reply = call(m_bus, object, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                                {INTERFACE, QStringLiteral("Name")});
        return reply.arguments().value(0).value<QDBusVariant>().variant().toString();
    }
    bool shows(const AccessibleReference &object) const {
        constexpr uint SHOWING = 25; // of the states' bits
        const auto states = qdbus_cast<QList<uint>>(ask(object, QStringLiteral("GetState")));
        return (states.value(0) >> SHOWING & 1) == 1;
    }
    void readBelow(const AccessibleReference &object, QStringList &found) const {
        for (const auto &child : children(object)) {
            const auto called = name(child);
            if (!called.isEmpty() && shows(child))
                found += role(child) + QStringLiteral(": ") + called;
            readBelow(child, found);
        }
    }

    static inline const QString INTERFACE = QStringLiteral("org.a11y.atspi.Accessible");
    static inline const QString SESSION = QStringLiteral("accessible-session");
    static inline const QString ACCESSIBILITY = QStringLiteral("accessible");

    const Companion m_launcher{
        {"bash", "-c", "echo started >&%fd; exec /usr/libexec/at-spi-bus-launcher --launch-immediately"},
        "at-spi2-core"};
    QDBusConnection m_bus{QString()};
};

} // namespace ombru::test
