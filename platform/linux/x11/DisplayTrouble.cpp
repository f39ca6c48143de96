#include "platform/linux/x11/DisplayTrouble.h"

#include "base/Descriptor.h"
#include "platform/linux/x11/Display.h"

#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int ANSWERING = 2000; // milliseconds

// What a display's name says.
struct Place {
    QByteArray host;
    int number = 0;
    int screen = 0;

    bool isHere() const { return host.isEmpty() || host == "unix" || host.startsWith('/'); }
    QByteArray socketPath() const {
        return host.startsWith('/') ? host + ':' + QByteArray::number(number)
                                    : "/tmp/.X11-unix/X" + QByteArray::number(number);
    }
};

enum class Answer { nobody, silent, refused, open };
struct Asked {
    Answer answer = Answer::nobody;
    QString reason = {}; // in the server's words, for `refused`
};

std::optional<Place> placeOf(const QByteArray &name) {
    char *host = nullptr;
    Place place;
    if (xcb_parse_display(name.constData(), &host, &place.number, &place.screen) == 0)
        return std::nullopt;
    const Reply<char> owned(host);
    place.host = host;
    return place;
}

// Where `hidden` is set, by the name that no file has.
Descriptor connected(const QByteArray &path, bool hidden) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const qsizetype first = hidden ? 1 : 0;
    if (first + path.size() >= qsizetype(sizeof address.sun_path))
        return {};
    std::memcpy(address.sun_path + first, path.constData(), std::size_t(path.size()));
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + first + path.size() + (hidden ? 0 : 1));
    const bool open = ::connect(socket.number(), reinterpret_cast<const sockaddr *>(&address), length) == 0;
    // One that is full of those who wait is there, too.
    return open || errno == EAGAIN ? std::move(socket) : Descriptor();
}

// Fewer bytes where the server closed the connection or took too long.
QByteArray received(const Descriptor &socket, qsizetype size) {
    QByteArray bytes;
    while (bytes.size() < size) {
        pollfd ready{socket.number(), POLLIN, 0};
        if (::poll(&ready, 1, ANSWERING) <= 0)
            break;
        std::array<char, 256> part{};
        const auto most = std::min<std::size_t>(part.size(), std::size_t(size - bytes.size()));
        const auto count = ::recv(socket.number(), part.data(), most, 0);
        if (count <= 0)
            break;
        bytes.append(part.data(), count);
    }
    return bytes;
}

Asked ask(const QByteArray &path) {
    auto socket = connected(path, true);
    if (!socket.isOpen())
        socket = connected(path, false);
    if (!socket.isOpen())
        return {Answer::nobody};
    const xcb_setup_request_t request{.byte_order = std::endian::native == std::endian::little ? u8'l' : u8'B',
                                      .pad0 = 0,
                                      .protocol_major_version = 11,
                                      .protocol_minor_version = 0,
                                      .authorization_protocol_name_len = 0,
                                      .authorization_protocol_data_len = 0,
                                      .pad1 = {0, 0}};
    if (::send(socket.number(), &request, sizeof request, MSG_NOSIGNAL) != sizeof request)
        return {Answer::silent};
    const auto head = received(socket, sizeof(xcb_setup_failed_t));
    if (head.size() < qsizetype(sizeof(xcb_setup_failed_t)))
        return {Answer::silent};
    if (head[0] == 1)
        return {Answer::open};
    const auto reason = received(socket, std::uint8_t(head[1]));
    return {Answer::refused, QString::fromLatin1(reason).simplified()};
}

QString refusal(const QString &reason) {
    const auto remedy = reason.contains(u"clients"_s)
                            ? u"Close some programs."_s
                            : u"Point XAUTHORITY at the file with its key, or run this inside the desktop session."_s;
    return u"does not let this program in (%1). %2"_s.arg(reason.isEmpty() ? u"no reason given"_s : reason, remedy);
}

QString whatIsWrong(const Place &place) {
    if (!place.isHere())
        return u"does not answer. Check DISPLAY and XAUTHORITY."_s;
    const auto asked = ask(place.socketPath());
    switch (asked.answer) {
    case Answer::nobody:
        return u"does not answer: there is no X server for it. Check DISPLAY, or log in to the desktop again."_s;
    case Answer::silent:
        return u"does not answer: its X server hangs. Log out of the desktop and in again."_s;
    case Answer::refused:
        return refusal(asked.reason);
    case Answer::open:
        return u"closed the connection. Check XAUTHORITY, and try again."_s;
    }
    Q_UNREACHABLE();
}

} // namespace

Failure displayTrouble(const QByteArray &name, int error) {
    const auto failure = [](const QString &what) { return Failure{u"display"_s, 1, what}; };
    if (name.isEmpty())
        return failure(u"There is no display: DISPLAY is not set. Run this inside a desktop session."_s);
    const auto shown = u"The display \"%1\" "_s.arg(QString::fromLocal8Bit(name));
    const auto place = placeOf(name);
    if (!place)
        return failure(shown + u"does not answer: DISPLAY is no name of a display, which is like \":0\"."_s);
    if (error == XCB_CONN_CLOSED_INVALID_SCREEN)
        return failure(shown + u"has no screen %1. Check DISPLAY."_s.arg(place->screen));
    return failure(shown + whatIsWrong(*place));
}

bool isShutToStrangers(const QByteArray &name) {
    const auto place = placeOf(name);
    return place && place->isHere() && ask(place->socketPath()).answer == Answer::refused;
}

} // namespace ombru
