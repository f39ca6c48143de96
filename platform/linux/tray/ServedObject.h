// An object on the session bus with one interface: its methods and properties. Its caller says what they do; this
// answers for the properties, for wrong arguments, and for who looks at the interface. Main thread.
#pragma once
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QMap>
#include <QVariantMap>

#include <optional>

namespace ombru {

class ServedObject : public QDBusVirtualObject {
public:
    struct Interface {
        QString name;
        QString path;
        QMap<QString, QString> methods; // and the signature of what they take
        QString description;            // of its parts, as the bus wants them described
    };
    explicit ServedObject(Interface interface) : m_interface(std::move(interface)) {}

    // From now on, on that connection, in place of one before.
    void serve(const QDBusConnection &connection);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

protected:
    virtual QVariantMap properties() const = 0;
    virtual QVariantList answer(const QString &method, const QVariantList &arguments) = 0;

    void tell(const QString &signal, const QVariantList &arguments = {}) const; // nobody, before serve()

private:
    QDBusMessage reply(const QDBusMessage &message);
    std::optional<QDBusMessage> propertyReply(const QDBusMessage &message) const;

    const Interface m_interface;
    std::optional<QDBusConnection> m_connection;
};

} // namespace ombru
