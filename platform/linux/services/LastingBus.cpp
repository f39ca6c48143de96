#include "platform/linux/services/LastingBus.h"

#include "base/Background.h"
#include "platform/linux/services/SessionBusAddress.h"

#include <QDBusPendingCallWatcher>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int ANSWER_MILLISECONDS = 5'000;
constexpr Clock::Duration CONNECTING = std::chrono::seconds(5);
constexpr Clock::Duration SOON = std::chrono::milliseconds(100); // a socket is there a moment before it is listened to
constexpr int TRIES = 7;                                         // each after twice the time

int nextNumber() {
    static int last = 0;
    return ++last;
}

} // namespace

LastingBus::LastingBus(Receiver receiver, QString name)
    : m_number(nextNumber()), m_name(std::move(name)), m_receiver(std::move(receiver)),
      m_self(std::make_shared<LastingBus *>(this)) {}

LastingBus::~LastingBus() {
    QDBusConnection::disconnectFromBus(m_connection.name());
}

// A bus that takes a connection and then says nothing holds a thread of its own, and is had as soon as it answers.
void LastingBus::connect() {
    if (m_isConnected || m_isConnecting)
        return;
    const auto address = sessionBusAddress();
    m_isConnecting = !address.isEmpty();
    m_limit =
        Loop::main().after(m_isConnecting ? CONNECTING : Clock::Duration::zero(), [this] { m_receiver.onLost(); });
    if (!m_isConnecting)
        return watchPlace();
    const auto name = u"ombru.lasting.%1.%2"_s.arg(m_number).arg(++m_attempts);
    runAlone([address, name, weak = std::weak_ptr(m_self)] {
        QDBusConnection::connectToBus(address, name);
        Loop::main().post([name, weak] {
            if (const auto self = weak.lock())
                (*self)->attach(name);
            else
                QDBusConnection::disconnectFromBus(name);
        });
    });
}

void LastingBus::attach(const QString &name) {
    m_isConnecting = false;
    m_limit.cancel();
    m_connection = QDBusConnection(name);
    if (!m_connection.isConnected())
        return lose();
    m_isConnected = true;
    m_failures = 0;
    m_again.cancel();
    m_place.reset();
    m_answers = std::make_unique<QObject>();
    m_lost = std::make_unique<QTimer>(); // what the connection before has still to say is not about this one
    m_lost->setSingleShot(true);
    QObject::connect(m_lost.get(), &QTimer::timeout, m_lost.get(),
                     [this] { onMain(m_lost.get(), [this] { lose(); }); });
    onSignal(u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s, *m_lost);
    if (!m_name.isEmpty())
        requestName();
    m_receiver.onConnected();
}

void LastingBus::requestName() {
    const QString bus = u"org.freedesktop.DBus"_s;
    auto request = QDBusMessage::createMethodCall(bus, u"/org/freedesktop/DBus"_s, bus, u"RequestName"_s);
    request.setArguments({m_name, 0U});
    m_connection.send(request);
}

void LastingBus::lose() {
    m_isConnected = false;
    m_answers.reset();
    m_lost.reset();
    const auto name = m_connection.name();
    m_connection = QDBusConnection(QString());
    QDBusConnection::disconnectFromBus(name);
    m_receiver.onLost();
    lookAgain();
}

// A bus that has been restarted is there again soon, or its socket comes later. An address that is none of a file is
// tried for some seconds only, and with the next change of the icon.
void LastingBus::lookAgain() {
    watchPlace();
    if (m_failures < TRIES)
        m_again = Loop::main().after(SOON * (1 << m_failures++), [this] { connect(); });
}

void LastingBus::watchPlace() {
    const auto directory = sessionBusDirectory();
    if (m_place || directory.isEmpty())
        return;
    m_place = std::make_unique<QFileSystemWatcher>(QStringList{directory});
    QObject::connect(m_place.get(), &QFileSystemWatcher::directoryChanged, m_place.get(), [this] {
        m_failures = 0;
        m_again = Loop::main().after(SOON, [this] { connect(); });
    });
}

void LastingBus::call(const QDBusMessage &message, std::function<void(const QDBusMessage &)> onAnswer) {
    auto *watcher = new QDBusPendingCallWatcher(m_connection.asyncCall(message, ANSWER_MILLISECONDS),
                                                m_answers.get()); // its parent's
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, m_answers.get(),
                     [onAnswer = std::move(onAnswer)](QDBusPendingCallWatcher *answered) {
                         answered->deleteLater();
                         onAnswer(answered->reply());
                     });
}

// A timer's start() is a slot that the bus library can call without code of its own for ours. Of whoever sends it: to
// name a sender that may not be there would wait for the bus.
void LastingBus::onSignal(const QString &path, const QString &interface, const QString &name, QTimer &soon) {
    m_connection.connect(QString(), path, interface, name, &soon, SLOT(start()));
}

} // namespace ombru
