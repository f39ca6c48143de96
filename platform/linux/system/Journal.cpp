#include "platform/linux/system/Journal.h"

#include "base/Descriptor.h"

#include <QtEndian>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ombru {
namespace {

constexpr int SEALS = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

// The length comes first, so that the value may hold line breaks and zeros.
void addField(QByteArray &entry, const char *name, const QByteArray &value) {
    const quint64 length = qToLittleEndian(static_cast<quint64>(value.size()));
    entry += name;
    entry += '\n';
    entry.append(reinterpret_cast<const char *>(&length), sizeof length);
    entry += value;
    entry += '\n';
}

QByteArray priority(LogLevel level) {
    switch (level) {
    case LogLevel::error:
        return "3";
    case LogLevel::notice:
        return "5";
    case LogLevel::debug:
        return "7";
    }
    return "5";
}

// An entry too large for a datagram travels as sealed memory.
bool sendAsMemory(int socket, msghdr message, const QByteArray &entry) {
    const Descriptor memory(memfd_create("ombru-log", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (memory.number() < 0 || ::write(memory.number(), entry.constData(), entry.size()) != entry.size() ||
        fcntl(memory.number(), F_ADD_SEALS, SEALS) != 0)
        return false;
    const int descriptor = memory.number();
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptor)] = {};
    message.msg_iov = nullptr;
    message.msg_iovlen = 0;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    return sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

} // namespace

bool sendToJournal(const QByteArray &socketPath, LogLevel level, const QString &subsystem, const QString &category,
                   const QString &text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, socketPath.constData(), socketPath.size());
    static const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); // for each entry, until the process ends
    if (socket < 0)
        return false;
    QByteArray entry;
    addField(entry, "MESSAGE", text.toUtf8());
    addField(entry, "PRIORITY", priority(level));
    addField(entry, "SYSLOG_IDENTIFIER", "ombru");
    addField(entry, "OMBRU_SUBSYSTEM", subsystem.toUtf8());
    addField(entry, "OMBRU_CATEGORY", category.toUtf8());
    iovec part{entry.data(), static_cast<std::size_t>(entry.size())};
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
        return true;
    return (errno == EMSGSIZE || errno == ENOBUFS) && sendAsMemory(socket, message, entry);
}

} // namespace ombru
