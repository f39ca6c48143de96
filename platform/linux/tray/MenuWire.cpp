#include "platform/linux/tray/MenuWire.h"

#include <QDBusMetaType>

namespace ombru {
namespace {

QDBusArgument &write(QDBusArgument &message, const auto &...fields) {
    message.beginStructure();
    (message << ... << fields);
    message.endStructure();
    return message;
}

const QDBusArgument &read(const QDBusArgument &message, auto &...fields) {
    message.beginStructure();
    (message >> ... >> fields);
    message.endStructure();
    return message;
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &message, const MenuProperties &value) {
    return write(message, value.id, value.properties);
}
const QDBusArgument &operator>>(const QDBusArgument &message, MenuProperties &value) {
    return read(message, value.id, value.properties);
}

QDBusArgument &operator<<(QDBusArgument &message, const MenuLayout &value) {
    return write(message, value.id, value.properties, value.children);
}
const QDBusArgument &operator>>(const QDBusArgument &message, MenuLayout &value) {
    return read(message, value.id, value.properties, value.children);
}

QDBusArgument &operator<<(QDBusArgument &message, const MenuNoProperties &value) {
    return write(message, value.id, value.names);
}
const QDBusArgument &operator>>(const QDBusArgument &message, MenuNoProperties &value) {
    return read(message, value.id, value.names);
}

QDBusArgument &operator<<(QDBusArgument &message, const MenuEvent &value) {
    return write(message, value.id, value.event, value.data, value.time);
}
const QDBusArgument &operator>>(const QDBusArgument &message, MenuEvent &value) {
    return read(message, value.id, value.event, value.data, value.time);
}

void registerMenuTypes() {
    qDBusRegisterMetaType<MenuProperties>();
    qDBusRegisterMetaType<QList<MenuProperties>>();
    qDBusRegisterMetaType<MenuLayout>();
    qDBusRegisterMetaType<QList<QDBusVariant>>();
    qDBusRegisterMetaType<MenuNoProperties>();
    qDBusRegisterMetaType<QList<MenuNoProperties>>();
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<QList<MenuEvent>>();
}

} // namespace ombru
