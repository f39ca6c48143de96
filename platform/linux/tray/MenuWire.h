// What a menu says over the session bus. Any thread.
#pragma once
#include <QDBusArgument>
#include <QDBusVariant>
#include <QVariantMap>

namespace ombru {

struct MenuProperties {
    int id = 0;
    QVariantMap properties;
};

struct MenuLayout {
    int id = 0;
    QVariantMap properties;
    QList<QDBusVariant> children; // of this kind, too
};

struct MenuNoProperties { // those that are gone
    int id = 0;
    QStringList names;
};

struct MenuEvent {
    int id = 0;
    QString event;
    QDBusVariant data;
    uint time = 0;
};

QDBusArgument &operator<<(QDBusArgument &message, const MenuProperties &value);
const QDBusArgument &operator>>(const QDBusArgument &message, MenuProperties &value);
QDBusArgument &operator<<(QDBusArgument &message, const MenuLayout &value);
const QDBusArgument &operator>>(const QDBusArgument &message, MenuLayout &value);
QDBusArgument &operator<<(QDBusArgument &message, const MenuNoProperties &value);
const QDBusArgument &operator>>(const QDBusArgument &message, MenuNoProperties &value);
QDBusArgument &operator<<(QDBusArgument &message, const MenuEvent &value);
const QDBusArgument &operator>>(const QDBusArgument &message, MenuEvent &value);

void registerMenuTypes();

} // namespace ombru
