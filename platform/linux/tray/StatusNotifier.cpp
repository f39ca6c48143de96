#include "platform/linux/tray/StatusNotifier.h"

#include <QCoreApplication>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

const QString WATCHER = u"org.kde.StatusNotifierWatcher"_s;
const QString PATH = u"/StatusNotifierWatcher"_s;

// The bus is not to start one: what it could start shows nothing by itself.
QDBusMessage toWatcher(const QString &interface, const QString &method, const QVariantList &arguments) {
    auto message = QDBusMessage::createMethodCall(WATCHER, PATH, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return message;
}

QString newItemName() {
    static int last = 0;
    return u"org.kde.StatusNotifierItem-%1-%2"_s.arg(QCoreApplication::applicationPid()).arg(++last);
}

} // namespace

StatusNotifier::StatusNotifier(Receiver receiver)
    : m_onHost(std::move(receiver.onHost)), m_item(std::move(receiver.item)), m_menu(std::move(receiver.onEntry)),
      m_bus({[this] { serve(); }, [this] { tell(Host::none); }}, newItemName()) {
    m_hostsChanged.setSingleShot(true);
    QObject::connect(&m_hostsChanged, &QTimer::timeout, &m_hostsChanged, [this] { ask(); });
}

void StatusNotifier::show(const QIcon &image, const QString &tip) {
    m_item.show(image, tip);
    m_bus.connect();
}

void StatusNotifier::serve() {
    m_registeredAt.clear();
    m_item.serve(m_bus.connection());
    m_menu.serve(m_bus.connection());
    m_watcher = std::make_unique<QDBusServiceWatcher>(WATCHER, m_bus.connection());
    QObject::connect(m_watcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, m_watcher.get(), [this] { ask(); });
    for (const auto &signal : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        m_bus.onSignal(PATH, WATCHER, signal, m_hostsChanged);
    ask();
}

void StatusNotifier::ask() {
    if (!m_bus.isConnected())
        return;
    const auto question =
        toWatcher(u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {WATCHER, u"IsStatusNotifierHostRegistered"_s});
    m_bus.call(question, [this, number = ++m_questions](const QDBusMessage &answer) {
        if (number != m_questions)
            return;
        if (answer.type() == QDBusMessage::ReplyMessage &&
            answer.arguments().value(0).value<QDBusVariant>().variant().toBool())
            registerItem(answer.service());
        else
            tell(Host::none);
    });
}

void StatusNotifier::registerItem(const QString &watcher) {
    if (watcher == m_registeredAt)
        return tell(Host::present);
    m_bus.call(toWatcher(WATCHER, u"RegisterStatusNotifierItem"_s, {m_bus.name()}),
               [this, watcher, number = m_questions](const QDBusMessage &answer) {
                   if (number != m_questions)
                       return;
                   const bool isTaken = answer.type() == QDBusMessage::ReplyMessage;
                   m_registeredAt = isTaken ? watcher : QString();
                   tell(isTaken ? Host::present : Host::none);
               });
}

void StatusNotifier::tell(Host host) {
    m_host = host;
    m_onHost(host);
}

} // namespace ombru
