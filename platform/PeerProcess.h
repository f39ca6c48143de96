// Who is at the other end of a local socket, and for whom a process works. Any thread.
#pragma once
#include <QtGlobal>

#include <optional>

namespace ombru {

struct Peer {
    qint64 process = 0;   // that made the connection; 0 when it cannot be seen from here
    bool isOwner = false; // it runs as the same user as this one
};

// None when the system does not tell.
std::optional<Peer> peerOf(int socket);

// Whether a script has this process run: then it must not decide in the owner's place.
bool servesAScript();

// The same of another process. One that has ended counts as a script's, since nobody can tell any more.
bool servesAScript(qint64 process);

} // namespace ombru
