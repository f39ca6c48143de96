#include "platform/linux/tray/ServedObject.h"

#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

const QString PROPERTIES = u"org.freedesktop.DBus.Properties"_s;

} // namespace

void ServedObject::serve(const QDBusConnection &connection) {
    m_connection = connection;
    m_connection->registerVirtualObject(m_interface.path, this);
}

QString ServedObject::introspect(const QString &) const {
    return u"<interface name=\"%1\">%2</interface>"_s.arg(m_interface.name, m_interface.description);
}

bool ServedObject::handleMessage(const QDBusMessage &message, const QDBusConnection &connection) {
    const bool isOurs = message.interface() == m_interface.name ||
                        (message.interface().isEmpty() && m_interface.methods.contains(message.member()));
    if (!isOurs && message.interface() != PROPERTIES)
        return false;
    connection.send(isOurs ? reply(message)
                           : propertyReply(message).value_or(message.createErrorReply(
                                 QDBusError::UnknownProperty, u"there is no such property to read or write"_s)));
    return true;
}

QDBusMessage ServedObject::reply(const QDBusMessage &message) {
    const auto method = m_interface.methods.find(message.member());
    if (method == m_interface.methods.end())
        return message.createErrorReply(QDBusError::UnknownMethod, u"no method "_s + message.member());
    if (message.signature() != *method)
        return message.createErrorReply(QDBusError::InvalidArgs, u"%1 takes %2"_s.arg(message.member(), *method));
    return message.createReply(answer(message.member(), message.arguments()));
}

std::optional<QDBusMessage> ServedObject::propertyReply(const QDBusMessage &message) const {
    const auto all = properties();
    const auto arguments = message.arguments();
    if (message.member() == "GetAll"_L1)
        return message.createReply(arguments.value(0) == m_interface.name ? all : QVariantMap());
    const auto property = all.find(arguments.value(1).toString());
    if (message.member() != "Get"_L1 || property == all.end())
        return std::nullopt;
    return message.createReply(QVariant::fromValue(QDBusVariant(*property)));
}

void ServedObject::tell(const QString &signal, const QVariantList &arguments) const {
    if (!m_connection)
        return;
    auto message = QDBusMessage::createSignal(m_interface.path, m_interface.name, signal);
    message.setArguments(arguments);
    m_connection->send(message);
}

} // namespace ombru
