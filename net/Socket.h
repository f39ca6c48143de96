// The system's operations on TCP sockets. None of them waits. What fails is told by the system's number (errno), where
// EAGAIN is "not now". Any thread.
#pragma once
#include "base/Descriptor.h"
#include "base/Failure.h"

#include <QByteArrayView>

#include <cstdint>
#include <expected>
#include <span>

namespace ombru {

template <class T = void>
using SystemResult = std::expected<T, int>;

// Which computers may connect to a listening socket.
enum class Interface { loopback, any };

SystemResult<Descriptor> makeListeningSocket(Interface interface);

// Gives the port: the one that was asked for, or a free one for 0.
SystemResult<std::uint16_t> listenOn(const Descriptor &socket, Interface interface, std::uint16_t port);

struct Accepted {
    Descriptor socket;
    QString peer; // "host:port"
};
SystemResult<Accepted> acceptOne(const Descriptor &listening);
// What accepted ones have from the socket that listens, for a connection that another library has accepted.
void prepareConnection(const Descriptor &socket);
bool isOutOfDescriptors(int error); // or of memory: trying again at once would fail alike
std::size_t mostDescriptors();      // that this process may have open

// How many bytes came or went; 0 received: the peer has finished sending.
SystemResult<qsizetype> receiveInto(const Descriptor &socket, std::span<char> buffer);
constexpr std::size_t MOST_PARTS = 4;
SystemResult<qsizetype> sendParts(const Descriptor &socket, std::span<const QByteArrayView> parts); // that many at most

void finishSending(const Descriptor &socket);

Failure networkFailure(int error);

} // namespace ombru
