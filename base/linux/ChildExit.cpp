#include "base/ChildExit.h"

#include "base/Spawn.h"

#include <cerrno>
#include <sys/syscall.h>

namespace ombru {

Result<Descriptor> watchExit(pid_t child, const QString &program) {
    Descriptor exit(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!exit.isOpen())
        return std::unexpected(processFailure(errno, QStringLiteral("watching ") + program));
    return exit;
}

} // namespace ombru
