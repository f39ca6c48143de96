#include "platform/linux/wayland/Portal.h"

#include "platform/linux/services/SessionBusAddress.h"

#include <QRandomGenerator>
#include <QRegularExpression>

#include <map>
#include <systemd/sd-bus.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

using Time = std::chrono::steady_clock;
using Slot = std::unique_ptr<sd_bus_slot, sd_bus_slot *(*)(sd_bus_slot *)>;

constexpr const char *SERVICE = "org.freedesktop.portal.Desktop";
const QString PATH = u"/org/freedesktop/portal/desktop"_s;

std::uint64_t microseconds(std::chrono::nanoseconds time) {
    return static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(time).count());
}

Failure failed(Portal::Code code, const QString &what) {
    return {u"portal"_s, code, what};
}

Failure noBus() {
    return failed(Portal::NO_BUS, u"The session bus, where the desktop portal is, does not answer."_s);
}

Failure noPortal() {
    return failed(Portal::NO_PORTAL, u"There is no desktop portal that offers this."_s);
}

Failure noAnswer() {
    return failed(Portal::NO_ANSWER, u"The desktop portal did not answer in time."_s);
}

Failure gone() {
    return failed(Portal::ENDED, u"The desktop portal ended before it answered."_s);
}

Failure fromError(int result, const sd_bus_error &error) {
    const QByteArray name = error.name;
    if (result == -ETIMEDOUT || name == SD_BUS_ERROR_TIMEOUT || name == SD_BUS_ERROR_NO_REPLY)
        return noAnswer();
    if (name.isEmpty())
        return noBus();
    if (name == SD_BUS_ERROR_ACCESS_DENIED)
        return failed(Portal::REFUSED,
                      u"The desktop portal refuses this program: %1"_s.arg(QString::fromUtf8(error.message)));
    for (const char *missing :
         {SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_UNKNOWN_METHOD,
          SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_UNKNOWN_OBJECT, SD_BUS_ERROR_INVALID_ARGS,
          SD_BUS_ERROR_UNKNOWN_PROPERTY}) {
        if (name == missing)
            return noPortal();
    }
    return failed(Portal::ENDED, u"The desktop portal failed: %1"_s.arg(QString::fromUtf8(error.message)));
}

QString readText(sd_bus_message *message, char type) {
    const char *text = nullptr;
    return sd_bus_message_read_basic(message, type, static_cast<void *>(&text)) > 0 ? QString::fromUtf8(text)
                                                                                    : QString();
}

// The variant that comes next in the message; none for one of another type, which is passed over.
QVariant readVariant(sd_bus_message *message) {
    const char *type = nullptr;
    if (sd_bus_message_peek_type(message, nullptr, &type) <= 0)
        return {};
    const QByteArray inside = type;
    if (inside != "s" && inside != "o" && inside != "u" && inside != "b") {
        sd_bus_message_skip(message, "v");
        return {};
    }
    sd_bus_message_enter_container(message, 'v', inside.constData());
    QVariant value;
    if (inside == "s" || inside == "o") {
        value = readText(message, inside[0]);
    } else {
        std::uint32_t number = 0; // a truth is one, too
        sd_bus_message_read_basic(message, inside[0], &number);
        value = inside == "b" ? QVariant(number != 0) : QVariant(number);
    }
    sd_bus_message_exit_container(message);
    return value;
}

QVariantMap readResults(sd_bus_message *message) {
    QVariantMap results;
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0)
        return results;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const QString name = readText(message, 's');
        results.insert(name, readVariant(message));
        sd_bus_message_exit_container(message);
    }
    return results;
}

void appendOption(sd_bus_message *message, const QString &name, const QVariant &value) {
    const QByteArray key = name.toUtf8();
    if (value.typeId() == QMetaType::Bool)
        sd_bus_message_append(message, "{sv}", key.constData(), "b", static_cast<int>(value.toBool()));
    else if (value.typeId() == QMetaType::UInt)
        sd_bus_message_append(message, "{sv}", key.constData(), "u", value.toUInt());
    else
        sd_bus_message_append(message, "{sv}", key.constData(), "s", value.toString().toUtf8().constData());
}

void appendOptions(sd_bus_message *message, const QVariantMap &options) {
    sd_bus_message_open_container(message, 'a', "{sv}");
    for (auto option = options.begin(); option != options.end(); ++option)
        appendOption(message, option.key(), option.value());
    sd_bus_message_close_container(message);
}

struct Answer {
    std::uint32_t code = 0;
    QVariantMap results;
};

// What came while a request is open.
struct Heard {
    std::map<QString, Answer> answers; // by the request's path
    bool gone = false;                 // the portal has ended
};

int onResponse(sd_bus_message *message, void *heard, sd_bus_error *) {
    Answer answer;
    if (sd_bus_message_read_basic(message, 'u', &answer.code) <= 0)
        return 0;
    answer.results = readResults(message);
    static_cast<Heard *>(heard)->answers.emplace(QString::fromUtf8(sd_bus_message_get_path(message)), answer);
    return 0;
}

int onGone(sd_bus_message *, void *heard, sd_bus_error *) {
    static_cast<Heard *>(heard)->gone = true;
    return 0;
}

// Null when the bus does not do it; then nothing would be heard.
Slot listen(sd_bus *bus, const QByteArray &what, sd_bus_message_handler_t handler, Heard &heard) {
    sd_bus_slot *slot = nullptr;
    const int result = sd_bus_add_match(bus, &slot, what.constData(), handler, &heard);
    return {result < 0 ? nullptr : slot, sd_bus_slot_unref};
}

Slot listenForResponses(sd_bus *bus, const QByteArray &owner, Heard &heard) {
    return listen(bus,
                  "type='signal',sender='" + owner +
                      "',path_namespace='/org/freedesktop/portal/desktop/request',"
                      "interface='org.freedesktop.portal.Request',member='Response'",
                  onResponse, heard);
}

Slot listenForEnd(sd_bus *bus, const QByteArray &owner, Heard &heard) {
    return listen(bus, "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" + owner + "'",
                  onGone, heard);
}

Result<QVariantMap> outcome(const Answer &answer) {
    if (answer.code == 0)
        return answer.results;
    if (answer.code == 1)
        return std::unexpected(failed(Portal::REFUSED, u"It was not allowed when the desktop asked."_s));
    return std::unexpected(failed(Portal::ENDED, u"The desktop portal did not do it."_s));
}

} // namespace

void Portal::Close::operator()(sd_bus *bus) const {
    sd_bus_close_unref(bus);
}

Result<Portal> Portal::open() {
    const QByteArray address = sessionBusAddress().toUtf8();
    Portal portal;
    if (address.isEmpty())
        return std::unexpected(noBus());
    if (const auto connected = portal.connect(address); !connected)
        return std::unexpected(connected.error());
    return portal;
}

Result<> Portal::connect(const QByteArray &address) {
    sd_bus *bus = nullptr;
    if (sd_bus_new(&bus) < 0)
        return std::unexpected(noBus());
    m_bus.reset(bus);
    if (sd_bus_set_address(bus, address.constData()) < 0 || sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0)
        return std::unexpected(noBus());
    if (!wait(ANSWERING, [bus] { return sd_bus_is_ready(bus) > 0; }))
        return std::unexpected(noBus());
    return {};
}

// Works on messages until it is over; false when the limit passes or the connection breaks first.
bool Portal::wait(std::chrono::nanoseconds limit, const std::function<bool()> &over) {
    const auto end = Time::now() + limit;
    while (!over()) {
        const int worked = sd_bus_process(m_bus.get(), nullptr);
        if (worked < 0)
            return false;
        const auto left = end - Time::now();
        if (worked > 0 && left > left.zero())
            continue;
        if (left <= left.zero())
            return false;
        if (const int waited = sd_bus_wait(m_bus.get(), microseconds(left)); waited < 0 && waited != -EINTR)
            return false;
    }
    return true;
}

Portal::Message Portal::method(const QByteArray &service, const QString &path, const QString &interface,
                               const QString &name) {
    sd_bus_message *message = nullptr;
    sd_bus_message_new_method_call(m_bus.get(), &message, service.constData(), path.toUtf8().constData(),
                                   interface.toUtf8().constData(), name.toUtf8().constData());
    return {message, sd_bus_message_unref};
}

Result<Portal::Message> Portal::send(const Message &message, std::chrono::nanoseconds limit) {
    sd_bus_error error{};
    sd_bus_message *reply = nullptr;
    const int result = sd_bus_call(m_bus.get(), message.get(), microseconds(limit), &error, &reply);
    const Failure failure = result < 0 ? fromError(result, error) : Failure();
    sd_bus_error_free(&error);
    if (result < 0)
        return std::unexpected(failure);
    return Message(reply, sd_bus_message_unref);
}

Result<unsigned> Portal::version(const QString &interface) {
    const auto asking = method(SERVICE, PATH, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    sd_bus_message_append(asking.get(), "ss", interface.toUtf8().constData(), "version");
    const auto reply = send(asking);
    if (!reply)
        return std::unexpected(reply.error());
    m_owner = sd_bus_message_get_sender(reply->get());
    const unsigned version = readVariant(reply->get()).toUInt();
    if (version == 0)
        return std::unexpected(noPortal());
    return version;
}

QString Portal::decision(const QString &table, const QString &id, const QString &program) {
    const auto asking =
        method("org.freedesktop.impl.portal.PermissionStore", u"/org/freedesktop/impl/portal/PermissionStore"_s,
               u"org.freedesktop.impl.portal.PermissionStore"_s, u"Lookup"_s);
    sd_bus_message_append(asking.get(), "ss", table.toUtf8().constData(), id.toUtf8().constData());
    const auto reply = send(asking);
    QString decision;
    if (!reply || sd_bus_message_enter_container(reply->get(), 'a', "{sas}") <= 0)
        return decision;
    while (sd_bus_message_enter_container(reply->get(), 'e', "sas") > 0) {
        const bool ours = readText(reply->get(), 's') == program;
        sd_bus_message_enter_container(reply->get(), 'a', "s");
        for (QString word = readText(reply->get(), 's'); !word.isNull(); word = readText(reply->get(), 's')) {
            if (ours && decision.isEmpty())
                decision = word;
        }
        sd_bus_message_exit_container(reply->get());
        sd_bus_message_exit_container(reply->get());
    }
    return decision;
}

Result<QVariantMap> Portal::request(const QString &interface, const QString &name,
                                    const std::vector<Argument> &arguments, QVariantMap options,
                                    std::chrono::nanoseconds limit) {
    if (const auto found = version(interface); !found)
        return std::unexpected(found.error());
    Heard heard;
    // Before the call, and for whatever path the portal chooses: the answer may come before the method returns.
    const Slot responses = listenForResponses(m_bus.get(), m_owner, heard);
    const Slot end = listenForEnd(m_bus.get(), m_owner, heard);
    if (!responses || !end)
        return std::unexpected(noBus());
    const auto asking = method(m_owner, PATH, interface, name);
    for (const Argument &argument : arguments) {
        if (sd_bus_message_append_basic(asking.get(), argument.type, argument.value.toUtf8().constData()) < 0)
            return std::unexpected(failed(Portal::ENDED, u"The desktop portal gave what it does not take."_s));
    }
    options.insert(u"handle_token"_s, newPortalToken());
    appendOptions(asking.get(), options);
    const auto reply = send(asking, std::min<std::chrono::nanoseconds>(limit, ANSWERING));
    if (!reply)
        return std::unexpected(reply.error());
    const QString path = readText(reply->get(), 'o');
    wait(limit, [&heard, &path] { return heard.answers.contains(path) || heard.gone; });
    if (const auto answer = heard.answers.find(path); answer != heard.answers.end())
        return outcome(answer->second);
    if (heard.gone)
        return std::unexpected(gone());
    return std::unexpected(sd_bus_is_ready(m_bus.get()) > 0 ? noAnswer() : noBus());
}

void Portal::endSession(const QString &path) {
    // A session that cannot be ended any more has ended, and all do with the connection.
    [[maybe_unused]] const auto ended = send(method(m_owner, path, u"org.freedesktop.portal.Session"_s, u"Close"_s));
}

QString portalRemedy(const Failure &failure) {
    switch (failure.code) {
    case Portal::NO_BUS:
        return u"Run ombru inside the desktop session."_s;
    case Portal::NO_PORTAL:
        return u"Install xdg-desktop-portal and its part for your desktop (such as xdg-desktop-portal-gnome, -kde or "
               u"-wlr), and log in again."_s;
    case Portal::NO_ANSWER:
        return u"Answer what the desktop asks on the screen, and try again."_s;
    default:
        return u"Try again and allow it, or allow it in the desktop's privacy settings."_s;
    }
}

QString portalProgram(const QString &cgroup) {
    static const QRegularExpression unit(
        u"/app-(?:[[:alnum:]]+-)?([^/]+?)(?:-[[:alnum:]]*\\.(?:scope|slice)|(?:@[[:alnum:]]*)?\\.service)\\s*$"_s);
    return unit.match(cgroup).captured(1);
}

QString newPortalToken() {
    return u"ombru%1"_s.arg(QRandomGenerator::system()->generate64(), 0, 16);
}

} // namespace ombru
