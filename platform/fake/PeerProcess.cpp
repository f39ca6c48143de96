#include "platform/PeerProcess.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

std::optional<Peer> peerOf(int) {
    return FakePlatform::instance().peer;
}

bool servesAScript() {
    return FakePlatform::instance().servesAScript;
}

bool servesAScript(qint64) {
    return FakePlatform::instance().servesAScript;
}

} // namespace ombru
