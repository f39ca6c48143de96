// A desktop portal on a bus of a test's own, with its permission store. Speaks the real interfaces, and misbehaves on
// request. Lives on the main thread: a test must let the event loop run while the portal is asked.
#pragma once
#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>

#include <map>
#include <optional>

namespace ombru::test {

class PortalStandIn : public QDBusVirtualObject {
public:
    enum class Manner {
        grants,
        cancels,      // as if its owner closed the question: response 1
        fails,        // response 2
        grantsEarly,  // before the method returns
        ownPath,      // as old portals do
        neverAnswers, // the question
        neverReplies, // the method
        refusesCalls  // with an error
    };

    explicit PortalStandIn(const QByteArray &address);
    ~PortalStandIn() override;

    Manner manner = Manner::grants;
    std::map<QString, uint> versions{{QStringLiteral("Screenshot"), 2}, {QStringLiteral("RemoteDesktop"), 2}};
    std::map<QString, QString> decisions;                 // the store's, on screenshots, by program
    QString uri;                                          // of the picture
    uint devices = 3;                                     // that the owner agrees to
    std::optional<QString> token = QStringLiteral("one"); // that is given for the next time

    std::optional<uint> colourScheme;  // the owner's, as the portal counts them
    void setColourScheme(uint scheme); // and says so
    int settingsRead = 0;              // or asked for in vain

    QStringList calls;                   // of methods that ask, in order
    std::map<QString, QVariantMap> told; // a method's last options
    int sessionsEnded = 0;
    int open() const { return static_cast<int>(m_open.size()); } // requests that were not answered
    void answerOpen();                                           // grants them
    void leave();                                                // the bus, without a word

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override;

private:
    struct Request {
        QDBusMessage message;
        QString path;
    };

    void readVersion(const QDBusMessage &message);
    void lookUp(const QDBusMessage &message);
    void readSetting(const QDBusMessage &message);
    void ask(const QDBusMessage &message);
    void respond(const Request &request, uint code);
    QVariantMap results(const QDBusMessage &message) const;

    static inline int s_count = 0;
    QString m_name;
    QDBusConnection m_connection;
    std::vector<Request> m_open;
};

} // namespace ombru::test
