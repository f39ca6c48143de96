// A notification server on a bus of a test's own. Speaks org.freedesktop.Notifications, and misbehaves on request: it
// answers late, never, or with an error.
#pragma once
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVirtualObject>

#include <optional>
#include <vector>

namespace ombru::test {

class NotificationServerStandIn : public QDBusVirtualObject {
public:
    struct Shown {
        uint number = 0;
        QString application;
        QString title;
        QString body;
        int urgency = -1;
        int times = 1; // told of this number
    };
    enum class Manner { answers, waits, refuses }; // waits: until answerWaiting()

    explicit NotificationServerStandIn(const QByteArray &address, uint firstNumber = 1)
        : m_name(QStringLiteral("stand-in %1").arg(++s_count)),
          m_connection(QDBusConnection::connectToBus(QString::fromLocal8Bit(address), m_name)), m_next(firstNumber) {
        m_connection.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), this);
        m_connection.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    ~NotificationServerStandIn() override { QDBusConnection::disconnectFromBus(m_name); }

    Manner manner = Manner::answers;
    QStringList capabilities{QStringLiteral("body")};
    std::vector<Shown> shown; // now
    int calls = 0;            // to show or close
    QStringList titles;       // all that were told, in order
    QStringList bodies;       // theirs

    int waiting() const { return static_cast<int>(m_waiting.size()); }
    void answerWaiting() {
        manner = Manner::answers;
        for (const QDBusMessage &message : std::exchange(m_waiting, {}))
            m_connection.send(answer(message));
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override {
        if (message.interface() != QStringLiteral("org.freedesktop.Notifications"))
            return false;
        if (manner == Manner::waits)
            m_waiting.push_back(message);
        else
            m_connection.send(answer(message));
        return true;
    }

private:
    QDBusMessage answer(const QDBusMessage &message) {
        if (manner == Manner::refuses)
            return message.createErrorReply(QDBusError::Failed, QStringLiteral("not today"));
        if (message.member() == QStringLiteral("GetCapabilities"))
            return message.createReply(capabilities);
        if (message.member() == QStringLiteral("GetServerInformation"))
            return message.createReply(
                {QStringLiteral("stand-in"), QStringLiteral("test"), QStringLiteral("1.2"), QStringLiteral("1.2")});
        ++calls;
        if (message.member() == QStringLiteral("CloseNotification"))
            return close(message);
        return message.createReply(show(message.arguments()));
    }
    QDBusMessage close(const QDBusMessage &message) {
        const uint number = message.arguments().value(0).toUInt();
        std::erase_if(shown, [number](const Shown &one) { return one.number == number; });
        return message.createReply();
    }
    uint show(const QVariantList &told) {
        titles += told.value(3).toString();
        bodies += told.value(4).toString();
        const uint replaced = told.value(1).toUInt();
        const int urgency = qdbus_cast<QVariantMap>(told.value(6)).value(QStringLiteral("urgency"), -1).toInt();
        for (Shown &one : shown) {
            if (one.number == replaced) {
                one = {
                    replaced,     told.value(0).toString(), told.value(3).toString(), told.value(4).toString(), urgency,
                    one.times + 1};
                return replaced;
            }
        }
        shown.push_back(
            {m_next, told.value(0).toString(), told.value(3).toString(), told.value(4).toString(), urgency});
        return m_next++;
    }

    static inline int s_count = 0;
    QString m_name;
    QDBusConnection m_connection;
    uint m_next;
    std::vector<QDBusMessage> m_waiting;
};

} // namespace ombru::test
