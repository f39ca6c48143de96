#include "base/ChildExit.h"

#include "base/Spawn.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/syscall.h>

namespace ombru {

Result<Descriptor> watchExit(pid_t child, const QString &program) {
    Descriptor exit(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!exit.isOpen())
        return std::unexpected(processFailure(errno, QStringLiteral("watching ") + program));
    return exit;
}

bool endsWithin(const Descriptor &exit, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd wait{exit.number(), POLLIN, 0};
        const int ready = ::poll(&wait, 1, int(std::max(left, std::chrono::milliseconds(0)).count()));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

} // namespace ombru
