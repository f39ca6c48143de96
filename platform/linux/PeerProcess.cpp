#include "platform/PeerProcess.h"

#include "platform/linux/consent/ConsentClient.h"
#include "platform/linux/system/ProcessStat.h"

#include <sys/socket.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

std::optional<Peer> peerOf(int socket) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    return Peer{credentials.pid, credentials.uid == ::geteuid()};
}

bool servesAScript() {
    return mayServeAScript();
}

// Looked at last: it was the same one while its ancestors were looked for.
bool servesAScript(qint64 process) {
    const auto path = u"/proc/%1"_s.arg(process);
    const auto before = processStat(path);
    return !before || before->ended || mayServeAScript(u"/proc"_s, process) || processStat(path) != before;
}

} // namespace ombru
