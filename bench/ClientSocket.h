// One end of a WebSocket, the client's, with as little as there can be between a bench and the system. What does not
// work ends the program. Blocking.
#pragma once
#include "base/Descriptor.h"
#include "net/Frame.h"

namespace ombru::bench {

Descriptor connected(std::uint16_t port); // of this computer
QByteArray request(const QByteArray &path, const QByteArray &headers = {});
QByteArray awaitAnswer(const Descriptor &socket); // that it is let in; gives what has come behind that

QByteArray masked(QByteArray text, Opcode opcode = Opcode::text); // as a client sends it
void write(const Descriptor &socket, QByteArrayView bytes);

} // namespace ombru::bench
