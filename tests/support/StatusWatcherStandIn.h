// The watcher of a desktop's status items: it keeps who has registered, and says that something shows them, or nothing.
// Beside the real interface, SetHost(b) has what shows them come and go. Main thread.
#pragma once
#include "platform/linux/tray/ServedObject.h"

#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>

namespace ombru::test {

class StatusWatcherStandIn : public ServedObject {
public:
    StatusWatcherStandIn(const QDBusConnection &bus, bool hasHost)
        : ServedObject({QStringLiteral("org.kde.StatusNotifierWatcher"),
                        QStringLiteral("/StatusNotifierWatcher"),
                        {{QStringLiteral("RegisterStatusNotifierItem"), QStringLiteral("s")},
                         {QStringLiteral("RegisterStatusNotifierHost"), QStringLiteral("s")},
                         {QStringLiteral("SetHost"), QStringLiteral("b")}},
                        QStringLiteral("<property name=\"RegisteredStatusNotifierItems\" type=\"as\" access=\"read\"/>"
                                       "<property name=\"IsStatusNotifierHostRegistered\" type=\"b\" access=\"read\"/>"
                                       "<property name=\"ProtocolVersion\" type=\"i\" access=\"read\"/>")}),
          m_bus(bus), m_hasHost(hasHost), m_names(QString(), bus, QDBusServiceWatcher::WatchForUnregistration) {
        QObject::connect(&m_names, &QDBusServiceWatcher::serviceUnregistered, &m_names,
                         [this](const QString &name) { m_items.removeAll(name); });
    }

    // False: another one has the name.
    bool begin() {
        serve(m_bus);
        return m_bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    }

    const QStringList &items() const { return m_items; } // names on the bus, the oldest first

private:
    QVariantMap properties() const override {
        return {{QStringLiteral("RegisteredStatusNotifierItems"), m_items},
                {QStringLiteral("IsStatusNotifierHostRegistered"), m_hasHost},
                {QStringLiteral("ProtocolVersion"), 0}};
    }
    QVariantList answer(const QString &method, const QVariantList &arguments) override {
        if (method == QStringLiteral("SetHost"))
            setHost(arguments[0].toBool());
        if (method == QStringLiteral("RegisterStatusNotifierHost"))
            setHost(true);
        if (method == QStringLiteral("RegisterStatusNotifierItem"))
            add(arguments[0].toString());
        return {};
    }
    // Whoever ends before the bus knows that this is to be told of would stay for ever.
    void add(const QString &name) {
        m_names.addWatchedService(name);
        if (m_bus.interface()->isServiceRegistered(name))
            m_items.append(name);
    }
    void setHost(bool present) {
        m_hasHost = present;
        tell(present ? QStringLiteral("StatusNotifierHostRegistered")
                     : QStringLiteral("StatusNotifierHostUnregistered"));
    }

    QDBusConnection m_bus;
    bool m_hasHost;
    QStringList m_items;
    QDBusServiceWatcher m_names;
};

} // namespace ombru::test
