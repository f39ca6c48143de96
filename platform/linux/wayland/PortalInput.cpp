#include "platform/linux/wayland/PortalInput.h"

#include "platform/SecretStore.h"
#include "platform/linux/services/SecretItems.h"
#include "platform/linux/wayland/Portal.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QString REMOTE_DESKTOP = u"org.freedesktop.portal.RemoteDesktop"_s;
const QString TOKEN = u"remote-desktop-token"_s; // the secret's key
constexpr unsigned KEYBOARD_AND_POINTER = 1 | 2;
constexpr unsigned UNTIL_TAKEN_BACK = 2;    // how long the portal remembers
constexpr std::chrono::seconds AT_ONCE(10); // for the steps that ask nobody

// What is to be kept once the owner has agreed to both devices. `session` is the session's path.
Result<QString> start(Portal &portal, const QString &session, std::chrono::nanoseconds limit) {
    QVariantMap options{{u"types"_s, KEYBOARD_AND_POINTER}, {u"persist_mode"_s, UNTIL_TAKEN_BACK}};
    if (const auto token = secret(TOKEN))
        options.insert(u"restore_token"_s, *token);
    const auto selected = portal.request(REMOTE_DESKTOP, u"SelectDevices"_s, {{'o', session}}, options, AT_ONCE);
    if (!selected)
        return std::unexpected(selected.error());
    const auto started =
        portal.request(REMOTE_DESKTOP, u"Start"_s, {{'o', session}, {'s', QString()}}, QVariantMap(), limit);
    if (!started)
        return std::unexpected(started.error());
    const unsigned devices = started->value(u"devices"_s).toUInt();
    if ((devices & KEYBOARD_AND_POINTER) != KEYBOARD_AND_POINTER)
        return std::unexpected(Failure{u"portal"_s, Portal::REFUSED, u"Only one of the devices was allowed."_s});
    return started->value(u"restore_token"_s).toString();
}

} // namespace

bool portalTakesInput() {
    auto portal = Portal::open();
    return portal && portal->version(REMOTE_DESKTOP) && hasSecret(TOKEN);
}

bool requestPortalInput(std::chrono::nanoseconds limit) {
    auto portal = Portal::open();
    if (!portal)
        return false;
    const auto created = portal->request(REMOTE_DESKTOP, u"CreateSession"_s, {},
                                         {{u"session_handle_token"_s, newPortalToken()}}, AT_ONCE);
    if (!created)
        return false;
    const QString session = created->value(u"session_handle"_s).toString();
    const auto token = start(*portal, session, limit);
    if (token && !token->isEmpty())
        setSecret(TOKEN, *token);
    else if (token || token.error().code == Portal::REFUSED)
        setSecret(TOKEN, std::nullopt);
    portal->endSession(session);
    // A portal that gives nothing to keep would have to ask each time, and a store may not keep it.
    return token && hasSecret(TOKEN);
}

QString portalInputRemedy() {
    auto portal = Portal::open();
    if (!portal)
        return portalRemedy(portal.error());
    const auto version = portal->version(REMOTE_DESKTOP);
    return version ? QString() : portalRemedy(version.error());
}

} // namespace ombru
