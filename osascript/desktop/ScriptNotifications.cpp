#include "osascript/desktop/ScriptNotifications.h"

#include "platform/linux/services/NotificationText.h"
#include "platform/linux/services/SessionBusAddress.h"
#include "platform/linux/x11/X11.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int ANSWER_MILLISECONDS = 5'000;
const QString SERVER = u"org.freedesktop.Notifications"_s;
const QString PATH = u"/org/freedesktop/Notifications"_s;

QDBusMessage call(QDBusConnection &bus, const QString &method, const QVariantList &arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(SERVER, PATH, SERVER, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, ANSWER_MILLISECONDS);
}

// What is shown: the title above, the subtitle before the text. Without a title the text is the title.
QVariantList arguments(const applescript::NotificationRequest &request, bool markup) {
    QStringList lines;
    for (const QString &line : {request.subtitle, request.text})
        if (!line.isEmpty())
            lines.append(markup ? line.toHtmlEscaped() : line);
    const QString title = request.title.isEmpty() ? u"osascript"_s : request.title;
    QVariantMap hints{{u"urgency"_s, QVariant::fromValue(uchar(1))}};
    if (!request.sound.isEmpty())
        hints.insert(u"sound-name"_s, request.sound);
    return {u"osascript"_s, 0U, QString(), title, lines.join(QChar(u'\n')), QStringList(), hints, -1};
}

Result<> send(const applescript::NotificationRequest &request) {
    const QString name = u"ombru.osascript"_s;
    const QString address = sessionBusAddress();
    if (address.isEmpty())
        return std::unexpected(desktopFailure(CANNOT_DO_IT, u"There is no session bus to show a notification by."_s));
    QDBusConnection bus = QDBusConnection::connectToBus(address, name);
    const QDBusMessage capabilities = call(bus, u"GetCapabilities"_s, {});
    const bool markup = readsMarkup(capabilities.arguments().value(0).toStringList());
    const QDBusMessage reply = call(bus, u"Notify"_s, arguments(request, markup));
    QDBusConnection::disconnectFromBus(name);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return {};
    return std::unexpected(
        desktopFailure(CANNOT_DO_IT, u"No notification server shows it: %1"_s.arg(reply.errorMessage())));
}

} // namespace

Result<> ScriptNotifications::show(const applescript::NotificationRequest &request) {
    return m_turns->anywhere([&] { return send(request); });
}

} // namespace ombru
