#include "tests/support/PortalStandIn.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>

namespace ombru::test {

using namespace Qt::StringLiterals;

namespace {

using Decisions = QMap<QString, QStringList>;

const QString SETTINGS = u"org.freedesktop.portal.Settings"_s;
const QString APPEARANCE = u"org.freedesktop.appearance"_s;
const QString COLOUR_SCHEME = u"color-scheme"_s;
const QString STORE = u"org.freedesktop.impl.portal.PermissionStore"_s;

} // namespace

PortalStandIn::PortalStandIn(const QByteArray &address)
    : m_name(u"portal stand-in %1"_s.arg(++s_count)),
      m_connection(QDBusConnection::connectToBus(QString::fromLocal8Bit(address), m_name)) {
    qDBusRegisterMetaType<Decisions>();
    m_connection.registerVirtualObject(u"/org/freedesktop/portal/desktop"_s, this, QDBusConnection::SubPath);
    m_connection.registerVirtualObject(u"/org/freedesktop/impl/portal/PermissionStore"_s, this);
    m_connection.registerService(u"org.freedesktop.portal.Desktop"_s);
    m_connection.registerService(STORE);
}

PortalStandIn::~PortalStandIn() {
    leave();
}

void PortalStandIn::leave() {
    QDBusConnection::disconnectFromBus(m_name);
    m_connection = QDBusConnection(QString());
}

void PortalStandIn::answerOpen() {
    for (const Request &request : std::exchange(m_open, {}))
        respond(request, 0);
}

bool PortalStandIn::handleMessage(const QDBusMessage &message, const QDBusConnection &) {
    const QString interface = message.interface();
    if (interface == u"org.freedesktop.DBus.Properties"_s)
        readVersion(message);
    else if (interface == STORE)
        lookUp(message);
    else if (interface == SETTINGS)
        readSetting(message);
    else if (interface == u"org.freedesktop.portal.Session"_s) {
        ++sessionsEnded;
        m_connection.send(message.createReply());
    } else if (versions.contains(interface.section(u'.', -1)))
        ask(message);
    else
        return false;
    return true;
}

void PortalStandIn::readVersion(const QDBusMessage &message) {
    const auto version = versions.find(message.arguments().value(0).toString().section(u'.', -1));
    if (version == versions.end())
        m_connection.send(message.createErrorReply(QDBusError::InvalidArgs, u"No such interface"_s));
    else
        m_connection.send(message.createReply(QVariant::fromValue(QDBusVariant(version->second))));
}

void PortalStandIn::lookUp(const QDBusMessage &message) {
    if (decisions.empty() || message.arguments() != QVariantList{u"screenshot"_s, u"screenshot"_s}) {
        m_connection.send(message.createErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"No entry"_s));
        return;
    }
    Decisions all;
    for (const auto &[program, decision] : decisions)
        all.insert(program, {decision});
    m_connection.send(
        message.createReply({QVariant::fromValue(all), QVariant::fromValue(QDBusVariant(QVariant(uchar(0))))}));
}

// What is told is in a variant of its own.
void PortalStandIn::readSetting(const QDBusMessage &message) {
    ++settingsRead;
    if (!colourScheme || message.arguments() != QVariantList{APPEARANCE, COLOUR_SCHEME}) {
        m_connection.send(message.createErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"No such setting"_s));
        return;
    }
    const QDBusVariant value{QVariant(*colourScheme)};
    m_connection.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(value)))));
}

void PortalStandIn::setColourScheme(uint scheme) {
    colourScheme = scheme;
    auto signal = QDBusMessage::createSignal(u"/org/freedesktop/portal/desktop"_s, SETTINGS, u"SettingChanged"_s);
    signal.setArguments({APPEARANCE, COLOUR_SCHEME, QVariant::fromValue(QDBusVariant(QVariant(scheme)))});
    m_connection.send(signal);
}

void PortalStandIn::ask(const QDBusMessage &message) {
    calls += message.member();
    const QVariantMap options = qdbus_cast<QVariantMap>(message.arguments().constLast());
    told[message.member()] = options;
    const QString sender = message.service().mid(1).replace(u'.', u'_');
    const QString handle = manner == Manner::ownPath ? u"mine"_s : options.value(u"handle_token"_s).toString();
    const Request request{message, u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(sender, handle)};
    const auto reply = [&] {
        m_connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request.path))));
    };
    const bool asksOwner = message.member() == u"Screenshot"_s || message.member() == u"Start"_s;
    const bool isOwners = manner == Manner::cancels || manner == Manner::fails || manner == Manner::neverAnswers;
    switch (isOwners && !asksOwner ? Manner::grants : manner) {
    case Manner::neverReplies:
        return;
    case Manner::refusesCalls:
        m_connection.send(message.createErrorReply(QDBusError::AccessDenied, u"not for you"_s));
        return;
    case Manner::neverAnswers:
        reply();
        m_open.push_back(request);
        return;
    case Manner::grantsEarly:
        respond(request, 0);
        reply();
        return;
    case Manner::cancels:
        reply();
        respond(request, 1);
        return;
    case Manner::fails:
        reply();
        respond(request, 2);
        return;
    case Manner::grants:
    case Manner::ownPath:
        reply();
        respond(request, 0);
    }
}

void PortalStandIn::respond(const Request &request, uint code) {
    QDBusMessage response = QDBusMessage::createTargetedSignal(request.message.service(), request.path,
                                                               u"org.freedesktop.portal.Request"_s, u"Response"_s);
    response.setArguments({code, code == 0 ? results(request.message) : QVariantMap()});
    m_connection.send(response);
}

QVariantMap PortalStandIn::results(const QDBusMessage &message) const {
    if (message.member() == u"Screenshot"_s)
        return {{u"uri"_s, uri}};
    if (message.member() == u"CreateSession"_s) {
        const QString handle = told.at(u"CreateSession"_s).value(u"session_handle_token"_s).toString();
        return {{u"session_handle"_s, u"/org/freedesktop/portal/desktop/session/x/"_s + handle}};
    }
    if (message.member() != u"Start"_s)
        return {};
    QVariantMap given{{u"devices"_s, devices}, {u"clipboard_enabled"_s, false}};
    // Something of a type that nobody asked for, as later versions will have.
    given.insert(u"streams"_s, QStringList{u"a"_s});
    if (token)
        given.insert(u"restore_token"_s, *token);
    return given;
}

} // namespace ombru::test
